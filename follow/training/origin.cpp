#include "follow/training/origin.h"

#include "follow/base/hash.h"

namespace remora {
namespace {

std::string framesOf(const std::vector<Example>& examples) {
  Hash hash;
  for (const Example& example : examples) {
    hash.value(example.image.width).value(example.image.height);
    const ExamplePicture picture(example);
    hash.bytes(picture->pixels.data(), picture->pixels.size());
  }
  return hash.digits();
}

std::string positionsOf(const std::vector<Example>& examples) {
  Hash hash;
  for (const Example& example : examples) {
    for (const Point& point : example.shape) hash.value(point.x).value(point.y);
  }
  return hash.digits();
}

std::string optionsOf(const TrainingOptions& options) {
  Hash hash;
  hash.value(options.plain).value(options.seed).value(options.generations).value(options.scale);
  hash.value(options.radii.size());
  for (const float radius : options.radii) hash.value(radius);
  for (const int steps : options.steps) hash.value(steps);
  for (const PointOptions& point : options.points) {
    hash.value(point.name.size()).text(point.name).value(point.predictors);
    hash.value(point.placement).value(point.radius_factor);
  }
  return hash.digits();
}

}  // namespace

Origin originOf(const std::vector<Example>& examples, const TrainingOptions& options) {
  return {{"remora", "another version", REMORA_VERSION},
          {"frames", "other frames", framesOf(examples)},
          {"positions", "other positions", positionsOf(examples)},
          {"options", "other options", optionsOf(options)}};
}

}  // namespace remora
