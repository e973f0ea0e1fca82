#include "follow/training/plan.h"

#include <algorithm>
#include <set>
#include <utility>

#include "follow/annotation/annotations.h"
#include "follow/annotation/point_names.h"
#include "follow/base/hash.h"
#include "follow/base/text.h"
#include "follow/canvas/scaled_frame.h"
#include "follow/error.h"
#include "follow/model/description.h"

namespace remora {
namespace {

constexpr double kMargin = 30.0;  // predictors are placed so far inside the first image

void checkStages(const TrainingOptions& options) {
  if (options.radii.size() != options.steps.size()) {
    throw Error(format("%zu radii and %zu numbers of steps: one of each for every stage",
                       options.radii.size(), options.steps.size()));
  }
  if (options.radii.size() > kMostStages) throw Error(format("more than %zu stages", kMostStages));
  for (std::size_t i = 0; i < options.radii.size(); ++i) {
    const float radius = options.radii[i];
    if (!(radius > 0.0F && radius <= kLargestRadius)) {
      throw Error(format("radius %g is not from 0 to a million", static_cast<double>(radius)));
    }
    if (i > 0 && radius > options.radii[i - 1]) throw Error("radii go from coarse to fine");
    if (options.steps[i] < 1 || options.steps[i] > kMostSteps) {
      throw Error(format("a stage takes 1 to %d steps", kMostSteps));
    }
  }
}

void checkPoint(const PointOptions& point) {
  if (!isPointName(point.name)) {
    throw Error("a name of a point is UTF-8 text without comma, quote and line end");
  }
  if (point.predictors < 1 || point.predictors > kMostPredictors) {
    throw Error(format("a point has 1 to %d predictors", kMostPredictors));
  }
  if (point.placement < -1 || point.placement > 1) throw Error("a placement is 0, 1 or -1");
  if (!(point.radius_factor > 0.0F && point.radius_factor <= kLargestRadius)) {
    throw Error("a radius factor is a positive number, at most a million");
  }
}

// A stage before the last has to come near enough for the next one.
std::vector<int> usualSteps(const TrainingOptions& options) {
  std::vector<int> steps(options.radii.size(), options.plain ? 1 : 3);
  if (steps.empty()) return steps;
  options.plain ? ++steps.front() : --steps.back();
  return steps;
}

bool liesInside(const Point& point, const CImg<float>& image, double margin) {
  return point.x - margin >= 0.0 && point.x + margin < image.width() && point.y - margin >= 0.0 &&
         point.y + margin < image.height();
}

}  // namespace

TrainingOptions completed(TrainingOptions options, std::size_t points) {
  if (options.radii.empty()) {
    options.radii = options.plain ? std::vector<float>{30.0F, 15.0F, 8.0F}
                                  : std::vector<float>{45.0F, 22.0F, 11.0F, 7.0F};
  }
  if (options.steps.empty()) options.steps = usualSteps(options);
  if (options.generations == 0) options.generations = options.plain ? 3 : 2;
  if (options.plain && options.scale == 0.0) options.scale = 1.0;
  if (options.points.empty()) options.points.resize(points);
  if (options.points.size() != points) {
    throw Error(
        format("options for %zu points, the shapes have %zu", options.points.size(), points));
  }
  std::set<std::string> names;
  for (std::size_t p = 0; p < points; ++p) {
    PointOptions& point = options.points[p];
    if (point.name.empty()) point.name = std::to_string(p);
    if (point.predictors == 0) point.predictors = options.predictors;
    checkPoint(point);
    if (!names.insert(point.name).second) throw Error("two points have the name " + point.name);
  }
  checkStages(options);
  if (options.generations < 1 || options.generations > kMostGenerations) {
    throw Error(format("there are 1 to %d generations", kMostGenerations));
  }
  if (options.jobs < 1 || options.jobs > kMostJobs) {
    throw Error(format("there are 1 to %d jobs", kMostJobs));
  }
  const bool chosen = options.scale == 0.0;
  if (!chosen && !(options.scale >= kSmallestScale && options.scale <= kLargestScale)) {
    throw Error(format("a scale is %g to %g", kSmallestScale, kLargestScale));
  }
  return options;
}

std::string markOf(const std::vector<Example>& examples, const TrainingOptions& options) {
  Hash hash;
  hash.value(options.plain).value(options.seed).value(options.generations).value(options.scale);
  for (const float radius : options.radii) hash.value(radius);
  for (const int steps : options.steps) hash.value(steps);
  for (const PointOptions& point : options.points) {
    hash.value(point.name.size()).text(point.name).value(point.predictors);
    hash.value(point.placement).value(point.radius_factor);
  }
  for (const Example& example : examples) {
    hash.value(example.image.width).value(example.image.height);
    const ExamplePicture picture(example);
    hash.bytes(picture->pixels.data(), picture->pixels.size());
    for (const Point& point : example.shape) hash.value(point.x).value(point.y);
  }
  return hash.digits();
}

TrainingMaterial plainMaterial(const std::vector<Example>& examples, float scale) {
  TrainingMaterial material;
  for (const Example& example : examples) {
    const ExamplePicture grey(example);
    const ScaledFrame scaled(grey->width, grey->height, scale);
    material.images.push_back(scaled.prepare(*grey));
    material.shapes.push_back(scaled.fromFrame(example.shape));
  }
  return material;
}

std::vector<std::string> warningsOf(const TrainingMaterial& material,
                                    const std::vector<Example>& examples,
                                    const TrainingOptions& options) {
  std::vector<std::string> warnings;
  for (std::size_t p = 0; p < options.points.size(); ++p) {
    const auto sees = [p](const Shape& shape) { return isSeen(shape[p]); };
    const auto first = std::find_if(material.shapes.begin(), material.shapes.end(), sees);
    const auto index = static_cast<std::size_t>(first - material.shapes.begin());
    if (liesInside((*first)[p], material.images[index], kMargin)) continue;
    warnings.push_back(format(
        "point %zu (%s) is less than %.0f px from the border of frame %s: its predictors are "
        "placed beside it",
        p, options.points[p].name.c_str(), kMargin / options.scale, examples[index].name.c_str()));
  }
  return warnings;
}

}  // namespace remora
