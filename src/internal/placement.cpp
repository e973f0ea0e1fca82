#include "internal/placement.h"

#include <algorithm>
#include <cmath>

#include "internal/messages.h"
#include "internal/random.h"

namespace remora::internal {
namespace {

constexpr int kMargin = 30;             // pixels between a predictor and every border
constexpr float kVerticalShift = 5.0F;  // pixels that modes 1 and -1 move away from the point
constexpr int kMostDraws = 10000;       // rejected draws before a predictor goes to the point

constexpr signed char kAround = 0;
constexpr signed char kBelow = -1;
constexpr signed char kAbove = 1;

bool fitsAxis(double position, int size) {
  return position + kMargin < size && position - kMargin >= 0.0;
}

// The nearest position that passes fitsAxis; a whole one where the point's own does not.
double nearestFitting(double position, int size) {
  if (fitsAxis(position, size)) return position;
  return position - kMargin >= 0.0 ? size - 1.0 - kMargin : kMargin;
}

double nearestInside(double position, int size) {
  if (position >= 0.0 && position < size) return position;
  return position >= 0.0 ? std::max(size - 1.0, 0.0) : 0.0;
}

// A whole number in floor(-radius) ... floor(radius).
double drawAround(float radius) {
  return std::floor((drawClosedUnit() - 0.5) * static_cast<double>(radius) * 2.0);
}

// Whole steps from a start, and whether one of them passes fitsAxis.
struct Steps {
  double start;
  double first, last;

  bool anyFits(int size) const {
    const double lowest = std::max(first, std::ceil(kMargin - start));
    return lowest <= last && fitsAxis(start + lowest, size);
  }
};

}  // namespace

Placement::Placement(int width, int height, float x, float y, float radius, char mode)
    : width_(width),
      height_(height),
      x_(x),
      y_(y),
      radius_(radius),
      mode_(static_cast<signed char>(mode)) {}

bool Placement::fits(Place place) const {
  return fitsAxis(place.x, width_) && fitsAxis(place.y, height_);
}

Place Placement::next(int index) {
  if (!settled_) centre_ = settleAtPoint();
  if (index < kPlacedAtPoint) return centre_;
  if (!aDrawCanFit()) return giveUp(index);
  for (int tries = 0; tries < kMostDraws; ++tries) {
    const Place place = draw();
    if (fits(place)) return place;
    say(text::kRetryPlacement);
  }
  return giveUp(index);
}

Place Placement::settleAtPoint() {
  settled_ = true;
  const Place point{static_cast<double>(x_), static_cast<double>(y_)};
  if (fits(point)) return point;
  say(text::kRetryPlacement);
  const Place place = nearestFit();
  say(text::kPointAtBorder, point.x, point.y, width_, height_, place.x, place.y);
  return place;
}

Place Placement::nearestFit() const {
  const auto x = static_cast<double>(x_);
  const auto y = static_cast<double>(y_);
  const Place place{nearestFitting(x, width_), nearestFitting(y, height_)};
  return fits(place) ? place : Place{nearestInside(x, width_), nearestInside(y, height_)};
}

Place Placement::draw() const {
  const double x = static_cast<double>(x_) + drawAround(radius_);
  const double radius = static_cast<double>(radius_);
  switch (mode_) {
    case kAround:
      return {x, static_cast<double>(y_) + drawAround(radius_)};
    case kBelow:
      return {x, static_cast<double>(y_ + kVerticalShift) + std::floor(radius * drawClosedUnit())};
    case kAbove:
      return {x, static_cast<double>(y_ - kVerticalShift) - std::floor(radius * drawClosedUnit())};
    default:
      return {x, static_cast<double>(y_)};
  }
}

bool Placement::aDrawCanFit() const {
  const auto radius = static_cast<double>(radius_);
  const double reach = std::abs(radius);
  const double near = std::min(0.0, std::floor(radius));
  const double far = std::max(0.0, std::floor(radius));
  const Steps across{static_cast<double>(x_), std::floor(-reach), std::floor(reach)};
  Steps down{static_cast<double>(y_), 0.0, 0.0};
  if (mode_ == kAround) down = {down.start, across.first, across.last};
  if (mode_ == kBelow) down = {static_cast<double>(y_ + kVerticalShift), near, far};
  if (mode_ == kAbove) down = {static_cast<double>(y_ - kVerticalShift), -far, -near};
  return across.anyFits(width_) && down.anyFits(height_);
}

Place Placement::giveUp(int index) {
  if (!gave_up_) {
    say(text::kPlacementGaveUp, static_cast<double>(x_), static_cast<double>(y_), index, centre_.x,
        centre_.y);
  }
  gave_up_ = true;
  return centre_;
}

}  // namespace remora::internal
