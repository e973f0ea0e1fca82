// The canvas: where a shape is looked at, upright and in the size of the training, and the two
// resolutions it is drawn in.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/canvas/affine.h"

namespace remora {

// A resolution of the canvas: a grid of pixels, each `factor` canvas pixels wide.
struct Level {
  int factor = 1;
  Point origin;  // of the canvas, where the middle of pixel (0, 0) lies
  int width = 0;
  int height = 0;

  Point toLevel(const Point& p) const { return (1.0 / factor) * (p - origin); }
  Point toCanvas(const Point& p) const { return static_cast<double>(factor) * p + origin; }
  Affine map() const { return translation(origin) * scaling(factor); }
  std::size_t size() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

// Pixels of a level that show the shape, and how bright each is in the mean of the training.
struct Region {
  std::vector<int> places;
  std::vector<float> grey;
};

}  // namespace remora
