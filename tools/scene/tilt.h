// The tilt of a plane that the camera sees in perspective.
#pragma once

#include <cmath>

#include "follow/annotation/shape.h"

namespace remora::tools::scene {

// The plane turns about the line through `pivot` to which `direction`, a unit vector, is normal.
class Tilt {
 public:
  Tilt() = default;
  Tilt(const Point& pivot, const Point& direction, double angle)
      : pivot_(pivot),
        direction_(direction),
        stretch_(std::cos(angle)),
        fall_(std::sin(angle) / kDistance) {}

  // The picture of a place of the plane.
  Point tilted(const Point& flat) const { return moved(flat, stretch_, fall_); }

  // Its inverse.
  Point flattened(const Point& picture) const {
    return moved(picture, 1.0 / stretch_, -fall_ / stretch_);
  }

 private:
  static constexpr double kDistance = 600.0;  // of the camera, in pixels at the pivot

  // Without a tilt a place stays the same to the last bit.
  Point moved(const Point& place, double stretch, double fall) const {
    const double dx = place.x - pivot_.x;
    const double dy = place.y - pivot_.y;
    const double reach = direction_.x * dx + direction_.y * dy;
    const double shift = (stretch - 1.0) * reach;
    const double depth = fall * reach;
    return {place.x + (shift * direction_.x - depth * dx) / (1.0 + depth),
            place.y + (shift * direction_.y - depth * dy) / (1.0 + depth)};
  }

  Point pivot_;
  Point direction_;
  double stretch_ = 1.0;
  double fall_ = 0.0;
};

}  // namespace remora::tools::scene
