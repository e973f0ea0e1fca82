#include "scene/fish_shape.h"

#include <cmath>

#include "scene/curves.h"

namespace remora::tools::scene {

FishShape::FishShape(const Moment& moment, const Pose& pose)
    : beat_(6.4 + moment.sway(1.4, 77.9)),
      phase_(moment.phase(34.9)),
      bend_(moment.sway(5.0, 71.9)),
      centre_(pose.centre),
      axis_{pose.scale * std::cos(pose.angle), pose.scale * std::sin(pose.angle)} {}

FishShape::SpinePoint FishShape::spineAt(double u) const {
  constexpr double kHeadShare = 0.12;  // amplitude of the snout relative to the tail base
  constexpr double kWaveNumber = kTwoPi / 205.0;
  const double growth = beat_ * (1.0 - kHeadShare) / square(kTailBase);
  const double swing = beat_ * kHeadShare + growth * square(u);
  const double sine = std::sin(kWaveNumber * u - phase_);
  const double cosine = std::cos(kWaveNumber * u - phase_);
  const double bow = (u - kPivot) / kPivot;
  return {swing * sine + bend_ * square(bow),
          2.0 * growth * u * sine + swing * kWaveNumber * cosine + 2.0 * bend_ * bow / kPivot};
}

Point FishShape::toPicture(const BodyPoint& body) const {
  const SpinePoint spine = spineAt(body.u);
  const double reach = body.v / length(1.0, spine.slope);
  const double x = body.u - kPivot - reach * spine.slope;
  const double y = spine.offset + reach;
  return {centre_.x + axis_.x * x - axis_.y * y, centre_.y + axis_.y * x + axis_.x * y};
}

// Projects the place onto the tangent of the spine until the foot point stays where it is.
std::optional<BodyPoint> FishShape::toBody(const Point& picture) const {
  constexpr int kMostSteps = 20;
  constexpr double kSmallStep = 0.003;
  const double dx = picture.x - centre_.x;
  const double dy = picture.y - centre_.y;
  const double squaredScale = square(axis_.x) + square(axis_.y);
  const double along = (axis_.x * dx + axis_.y * dy) / squaredScale + kPivot;
  const double across = (axis_.x * dy - axis_.y * dx) / squaredScale;
  if (along < -20.0 || along > kTailBase + 60.0 || std::abs(across) > 75.0) return {};
  double u = along;
  for (int i = 0; i < kMostSteps; ++i) {
    const SpinePoint spine = spineAt(u);
    const double ahead = along - u;
    const double above = across - spine.offset;
    const double tangent = length(1.0, spine.slope);
    const double step = (ahead + above * spine.slope) / square(tangent);
    u += step;
    if (std::abs(step) < kSmallStep) return BodyPoint{u, (above - ahead * spine.slope) / tangent};
  }
  return {};
}

}  // namespace remora::tools::scene
