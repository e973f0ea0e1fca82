#include "scene/scene.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "scene/conditions.h"
#include "scene/curves.h"
#include "scene/fish_shape.h"
#include "scene/fish_skin.h"
#include "scene/moment.h"
#include "scene/noise.h"
#include "scene/sea_bottom.h"

namespace remora::tools {
namespace {

using namespace scene;

// One frame.
class Painter {
 public:
  Painter(SceneVariant variant, const Moment& moment)
      : frame_(moment.frame),
        sensor_(streamKey(moment.seed, Stream::kSensor)),
        conditions_(conditionsOf(variant, moment)),
        shape_(moment, conditions_.pose),
        skin_(moment.seed),
        bottom_(moment) {}

  unsigned char pixel(int x, int y) const {
    const Point p = {static_cast<double>(x), static_cast<double>(y)};
    const auto& [middle, slope, offset] = conditions_.light;
    const double gain = middle + slope.x * (p.x - kMiddle.x) + slope.y * (p.y - kMiddle.y);
    const double seen = conditions_.shrinks ? smoothed(p) : scenery(p);
    const double level = gain * seen + offset + noise(std::int64_t{y} * kWidth + x);
    return static_cast<unsigned char>(std::lround(std::clamp(level, 0.0, 255.0)));
  }

  SceneTruth truth() const {
    SceneTruth truth;
    for (const Mark& mark : marks()) {
      const Point place = conditions_.tilt.tilted(shape_.toPicture(mark.place));
      const auto hides = [&](const Plank& plank) { return plank.hides(place); };
      truth.points.push_back(place);
      truth.hidden.push_back(
          std::any_of(conditions_.planks.begin(), conditions_.planks.end(), hides));
    }
    return truth;
  }

 private:
  std::optional<BodyPoint> bodyAt(const Point& p) const {
    return shape_.toBody(conditions_.tilt.flattened(p));
  }

  // The fish throws a soft shadow.
  double shadedBottom(const Point& p) const {
    const double grey = bottom_.at(p);
    const std::optional<BodyPoint> caster = bodyAt({p.x - 7.0, p.y - 11.0});
    if (!caster) return grey;
    return grey * (1.0 - 0.3 * smoothStep(-9.0, 5.0, insideFish(*caster)));
  }

  double scenery(const Point& p) const {
    const std::optional<BodyPoint> body = bodyAt(p);
    const Paint fish = body ? skin_.at(*body) : Paint{0.0, 0.0};
    double grey = fish.over(fish.cover < 1.0 ? shadedBottom(p) : 0.0);
    for (const Plank& plank : conditions_.planks) grey = plank.at(p).over(grey);
    return grey;
  }

  double smoothed(const Point& p) const {
    constexpr double kStep = 0.25;
    return 0.25 * (scenery({p.x - kStep, p.y - kStep}) + scenery({p.x + kStep, p.y - kStep}) +
                   scenery({p.x - kStep, p.y + kStep}) + scenery({p.x + kStep, p.y + kStep}));
  }

  // Noise of the sensor: evenly distributed, plus nearly normal noise where the variant adds some.
  double noise(std::int64_t pixel) const {
    double sum = 7.0 * randomUnit(sensor_, frame_, pixel) - 3.5;
    if (conditions_.noise <= 0.0) return sum;
    constexpr int kTerms = 4;  // each of a variance of 1/12
    const double range = conditions_.noise * std::sqrt(12.0 / kTerms);
    for (std::uint64_t i = 1; i <= kTerms; ++i) {
      sum += range * (randomUnit(sensor_ + i, frame_, pixel) - 0.5);
    }
    return sum;
  }

  int frame_;
  std::uint64_t sensor_;
  Conditions conditions_;
  FishShape shape_;
  FishSkin skin_;
  SeaBottom bottom_;
};

std::vector<std::string> namesOfMarks() {
  std::vector<std::string> names;
  for (const Mark& mark : marks()) names.emplace_back(mark.name);
  return names;
}

}  // namespace

Scene::Scene(unsigned seed, SceneVariant variant) : seed_(seed), variant_(variant) {}

const std::vector<std::string>& Scene::pointNames() {
  static const std::vector<std::string> names = namesOfMarks();
  return names;
}

SceneTruth Scene::truth(int frame) const { return Painter(variant_, {seed_, frame}).truth(); }

SceneFrame Scene::render(int frame) const {
  const Painter painter(variant_, {seed_, frame});
  SceneFrame picture{painter.truth(), kWidth, kHeight, {}};
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) picture.grey.push_back(painter.pixel(x, y));
  }
  return picture;
}

}  // namespace remora::tools
