#include "scene/plank.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "scene/curves.h"
#include "scene/fish_shape.h"
#include "scene/pose.h"

namespace remora::tools::scene {
namespace {

constexpr double kHalfLength = 120.0;

// A plank rests before the fish from frame `first` to the one before `end`.
struct Pass {
  int first, end;
  double halfWidth;
};
constexpr std::array<Pass, 3> kPasses = {{{132, 147, 24.0}, {158, 183, 33.0}, {196, 228, 42.0}}};
constexpr int kTravel = 12;  // frames from outside to the resting place, and on to the other side

// How far the plank is from its resting place, from -1 to 1.
double wayOf(const Pass& pass, int frame) {
  return smoothStep(pass.end, pass.end + kTravel, frame) -
         smoothStep(pass.first, pass.first - kTravel, frame);
}

Point direction(double angle) { return {std::cos(angle), std::sin(angle)}; }

// It lies about across the fish and comes from anywhere.
Plank plankOf(const Pass& pass, const Moment& moment) {
  constexpr double kOutside = 480.0;
  const std::uint64_t key = streamKey(moment.seed, Stream::kPlanks);
  const auto random = [&](std::int64_t i) { return randomUnit(key, pass.first, i); };
  const Moment middle{moment.seed, (pass.first + pass.end) / 2};
  const FishShape fish(middle, swayingPose(middle));
  const Point rest = fish.toPicture({mixValues(45.0, 145.0, random(0)), 0.0});
  const Point axis = direction(kTwoPi / 4.0 + mixValues(-0.6, 0.6, random(1)));
  const Point travel = direction(kTwoPi * random(2));
  const double way = kOutside * wayOf(pass, moment.frame);
  return {{rest.x + way * travel.x, rest.y + way * travel.y},
          axis,
          pass.halfWidth,
          mixValues(70.0, 180.0, random(3)),
          key + static_cast<std::uint64_t>(pass.first)};
}

}  // namespace

Plank::Plank(const Point& centre, const Point& axis, double halfWidth, double grey,
             std::uint64_t key)
    : centre_(centre),
      axis_(axis),
      halfWidth_(halfWidth),
      grey_(grey),
      grain_{key, 24.0, 17.0, 4, 0.8} {}

// x along the grain, y across.
Point Plank::place(const Point& picture) const {
  const double dx = picture.x - centre_.x;
  const double dy = picture.y - centre_.y;
  return {axis_.x * dx + axis_.y * dy, axis_.x * dy - axis_.y * dx};
}

double Plank::inside(const Point& picture) const {
  const Point p = place(picture);
  return std::min(halfWidth_ - std::abs(p.y), kHalfLength - std::abs(p.x));
}

Paint Plank::at(const Point& picture) const {
  constexpr double kGrainLength = 5.0;  // relative to its width
  const double cover = softWeight(-inside(picture), 0.0);
  if (cover <= 0.0) return {0.0, 0.0};
  const Point p = place(picture);
  return {cover, grey_ + grain_.at(p.x / kGrainLength, p.y)};
}

std::vector<Plank> planksAt(const Moment& moment) {
  std::vector<Plank> planks;
  for (const Pass& pass : kPasses) {
    if (std::abs(wayOf(pass, moment.frame)) < 1.0) planks.push_back(plankOf(pass, moment));
  }
  return planks;
}

}  // namespace remora::tools::scene
