// Planks that pass between the camera and the fish.
#pragma once

#include <vector>

#include "follow/annotation/shape.h"
#include "scene/moment.h"
#include "scene/noise.h"
#include "scene/paint.h"

namespace remora::tools::scene {

class Plank {
 public:
  // `axis` is a unit vector along the grain.
  Plank(const Point& centre, const Point& axis, double halfWidth, double grey, std::uint64_t key);

  Paint at(const Point& picture) const;

  bool hides(const Point& picture) const { return inside(picture) > 0.0; }

 private:
  Point place(const Point& picture) const;

  // About how many pixels a place lies inside the outline; negative: outside.
  double inside(const Point& picture) const;

  Point centre_;
  Point axis_;
  double halfWidth_;
  double grey_;
  Noise grain_;
};

// Those that are in or near the picture.
std::vector<Plank> planksAt(const Moment& moment);

}  // namespace remora::tools::scene
