#include "common/plan.h"

#include "common/failure.h"
#include "follow/base/hash.h"
#include "follow/base/text.h"

namespace remora::tools {
namespace {

constexpr double kMargin = 30.0;  // predictors are placed so far inside the first image

bool liesInside(const Point& point, int width, int height, double margin) {
  return point.x - margin >= 0.0 && point.x + margin < width && point.y - margin >= 0.0 &&
         point.y + margin < height;
}

void checkSize(const Example& example, const Example& first) {
  const ScaledFrame& size = example.canvas;
  const ScaledFrame& wanted = first.canvas;
  if (size.frameWidth() == wanted.frameWidth() && size.frameHeight() == wanted.frameHeight())
    return;
  throw Failure(format("frame %s is %d x %d, frame %s is %d x %d", example.file.c_str(),
                       size.frameWidth(), size.frameHeight(), first.file.c_str(),
                       wanted.frameWidth(), wanted.frameHeight()));
}

void checkPoints(const Example& example, const TrainingPlan& plan) {
  const int width = example.canvas.frameWidth();
  const int height = example.canvas.frameHeight();
  for (std::size_t i = 0; i < plan.points.size(); ++i) {
    const Point& point = example.shape[i];
    if (liesInside(point, width, height, 0.0)) continue;
    throw Failure(format("point %zu (%s) at (%.2f, %.2f) lies outside frame %s, %d x %d", i,
                         plan.points[i].name.c_str(), point.x, point.y, example.file.c_str(), width,
                         height));
  }
}

}  // namespace

std::vector<std::string> checkPlan(const TrainingPlan& plan) {
  for (const Example& example : plan.examples) {
    checkSize(example, plan.examples.front());
    checkPoints(example, plan);
  }
  const Example& first = plan.examples.front();
  std::vector<std::string> warnings;
  for (std::size_t i = 0; i < plan.points.size(); ++i) {
    const Point place = first.canvas.fromFrame(first.shape[i]);
    if (liesInside(place, first.image.width(), first.image.height(), kMargin)) continue;
    warnings.push_back(
        format("point %zu (%s) is less than %.0f px from the border of frame %s: "
               "its predictors are placed beside it",
               i, plan.points[i].name.c_str(), kMargin / static_cast<double>(plan.scale),
               first.file.c_str()));
  }
  return warnings;
}

std::string markOf(const TrainingPlan& plan) {
  Hash hash;
  hash.value(plan.seed).value(plan.generations).value(plan.scale);
  for (const Stage& stage : plan.stages) hash.value(stage.radius);
  for (const PointOptions& point : plan.points) {
    hash.value(point.predictors).value(point.placement).value(point.radius_factor);
  }
  for (const Example& example : plan.examples) {
    hash.value(example.image.width()).value(example.image.height());
    hash.bytes(example.image.data(), example.image.size() * sizeof(float));
    for (const Point& point : example.shape) hash.value(point.x).value(point.y);
  }
  return hash.digits();
}

}  // namespace remora::tools
