#include "follow/training/origin.h"

#include "follow/base/hash.h"
#include "follow/base/text.h"

namespace remora {
namespace {

struct Part {
  const char* name;  // as it is written
  const char* what;  // in messages
  std::string Origin::*value;
};

const Part kParts[] = {{"remora", "another version", &Origin::version},
                       {"frames", "other frames", &Origin::frames},
                       {"positions", "other positions", &Origin::positions},
                       {"options", "other options", &Origin::options}};

std::string framesOf(const std::vector<Example>& examples) {
  Hash hash;
  for (const Example& example : examples) {
    hash.value(example.image.width).value(example.image.height);
    hash.bytes(example.image.pixels.data(), example.image.pixels.size());
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
  return {REMORA_VERSION, framesOf(examples), positionsOf(examples), optionsOf(options)};
}

std::string formatOrigin(const Origin& origin, char end) {
  std::string text;
  for (const Part& part : kParts) {
    text += std::string(part.name) + ' ' + origin.*part.value + end;
  }
  return text;
}

Origin parseOrigin(const std::string& text) {
  const std::vector<std::string> found = words(text);
  Origin origin;
  std::size_t at = 0;
  for (const Part& part : kParts) {
    if (at + 1 >= found.size() || found[at] != part.name) break;
    origin.*part.value = found[at + 1];
    at += 2;
  }
  return origin;
}

std::string differenceOf(const Origin& there, const Origin& here) {
  std::string text;
  for (const Part& part : kParts) {
    const std::string& value = there.*part.value;
    if (value == here.*part.value) continue;
    text += (text.empty() ? "" : ", ") + std::string(part.what) + " (" +
            (value.empty() ? "unknown" : value) + " there, " + here.*part.value + " here)";
  }
  return text;
}

}  // namespace remora
