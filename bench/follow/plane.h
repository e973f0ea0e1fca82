// Footage for measurements of time: a textured plane that moves over another texture.
#pragma once

#include <cstddef>
#include <vector>

#include "footage.h"

namespace remora::bench {

struct PlaneSize {
  int width, height;   // of the pictures
  std::size_t points;  // spread evenly over the plane
  double plane = 1.0;  // 1: 200 x 150 pixels
};

// The motion ends where it begins: the first frame may follow the last.
Footage movingPlane(const PlaneSize& size, int frames);

// Pictures of the same kind without the plane.
std::vector<GreyImage> withoutPlane(const PlaneSize& size, int frames);

}  // namespace remora::bench
