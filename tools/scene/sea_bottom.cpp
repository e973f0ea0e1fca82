#include "scene/sea_bottom.h"

#include <cmath>

#include "scene/curves.h"

namespace remora::tools::scene {
namespace {

// One pebble in each cell of a grid, lit from the upper left.
double paintPebbles(double grey, std::uint64_t key, double x, double y) {
  constexpr double kHalfCell = 11.0;
  const double left = std::floor(x / (2.0 * kHalfCell));
  const double top = std::floor(y / (2.0 * kHalfCell));
  const auto random = [&](std::uint64_t i) {
    return randomUnit(key + i, static_cast<std::int64_t>(left), static_cast<std::int64_t>(top));
  };
  const double radius = 0.5 + 9.5 * square(random(0));
  const double room = kHalfCell - radius;
  const double dx = x - kHalfCell * (2.0 * left + 1.0) - room * (2.0 * random(1) - 1.0);
  const double dy = y - kHalfCell * (2.0 * top + 1.0) - room * (2.0 * random(2) - 1.0);
  const double distance = length(dx, dy);
  const double stone = 82.0 + 100.0 * random(3) - (13.0 * (dx + dy) + 20.0 * distance) / radius;
  return mixValues(grey, stone, 0.7 * softWeight(distance, radius - 1.0));
}

}  // namespace

SeaBottom::SeaBottom(const Moment& moment)
    : drift_{0.35 * moment.frame + moment.sway(9.0, 113.9),
             -0.15 * moment.frame + moment.sway(7.0, 97.7)},
      sand_{streamKey(moment.seed, Stream::kSand), 13.0, 80.0, 6, 0.84},
      warp_{streamKey(moment.seed, Stream::kWarp), 3.0, 60.0, 3, 0.4},
      pebbles_(streamKey(moment.seed, Stream::kPebbles)) {}

double SeaBottom::at(const Point& picture) const {
  const double x = picture.x + drift_.x;
  const double y = picture.y + drift_.y;
  const double warp = warp_.at(x, y);
  const double ripple = 11.0 * std::sin(kTwoPi * (x / 95.0 + y / 34.0) + warp);
  return paintPebbles(132.0 + sand_.at(x, y) + ripple, pebbles_, x + 2.0 * warp, y - 2.0 * warp);
}

}  // namespace remora::tools::scene
