#include "scene/scene.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "scene/curves.h"
#include "scene/fish_shape.h"
#include "scene/fish_skin.h"
#include "scene/moment.h"
#include "scene/noise.h"
#include "scene/sea_bottom.h"

namespace remora::tools {
namespace {

using namespace scene;

constexpr int kWidth = 400;
constexpr int kHeight = 300;
constexpr Point kMiddle = {kWidth / 2.0, kHeight / 2.0};

// One frame.
class Painter {
 public:
  explicit Painter(const Moment& moment)
      : frame_(moment.frame),
        sensor_(streamKey(moment.seed, Stream::kSensor)),
        shape_(moment, kMiddle),
        skin_(moment.seed),
        bottom_(moment),
        gain_(1.0 + moment.sway(0.07, 109.7)),
        gainSlope_{moment.sway(0.06, 131.3) / kMiddle.x, moment.sway(0.06, 79.7) / kMiddle.y},
        offset_(moment.sway(5.0, 94.1)) {}

  unsigned char pixel(int x, int y) const {
    const Point p = {static_cast<double>(x), static_cast<double>(y)};
    const std::optional<BodyPoint> body = shape_.toBody(p);
    const Paint fish = body ? skin_.at(*body) : Paint{0.0, 0.0};
    const double below = fish.cover < 1.0 ? shadedBottom(p) : 0.0;
    const double noise = 7.0 * randomUnit(sensor_, frame_, std::int64_t{y} * kWidth + x) - 3.5;
    const double gain = gain_ + gainSlope_.x * (p.x - kMiddle.x) + gainSlope_.y * (p.y - kMiddle.y);
    const double level = gain * mixValues(below, fish.grey, fish.cover) + offset_ + noise;
    return static_cast<unsigned char>(std::lround(std::clamp(level, 0.0, 255.0)));
  }

  Shape points() const {
    Shape places;
    for (const Mark& mark : marks()) places.push_back(shape_.toPicture(mark.place));
    return places;
  }

 private:
  // The fish throws a soft shadow.
  double shadedBottom(const Point& p) const {
    const double grey = bottom_.at(p);
    const std::optional<BodyPoint> caster = shape_.toBody({p.x - 7.0, p.y - 11.0});
    if (!caster) return grey;
    return grey * (1.0 - 0.3 * smoothStep(-9.0, 5.0, insideFish(*caster)));
  }

  int frame_;
  std::uint64_t sensor_;
  FishShape shape_;
  FishSkin skin_;
  SeaBottom bottom_;
  double gain_;
  Point gainSlope_;
  double offset_;
};

std::vector<std::string> namesOfMarks() {
  std::vector<std::string> names;
  for (const Mark& mark : marks()) names.emplace_back(mark.name);
  return names;
}

}  // namespace

Scene::Scene(unsigned seed) : seed_(seed) {}

const std::vector<std::string>& Scene::pointNames() {
  static const std::vector<std::string> names = namesOfMarks();
  return names;
}

SceneFrame Scene::render(int frame) const {
  const Painter painter({seed_, frame});
  SceneFrame picture{kWidth, kHeight, {}, painter.points()};
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) picture.grey.push_back(painter.pixel(x, y));
  }
  return picture;
}

}  // namespace remora::tools
