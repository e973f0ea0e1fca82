// Warping: a part of a picture, drawn as an affine map of a canvas says.
#pragma once

#include <cstddef>

#include "follow/canvas/affine.h"

namespace remora {

// An 8-bit grey picture in memory that somebody else owns.
struct GreyView {
  const unsigned char* data = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t stride = 0;  // bytes from a row to the next
};

// Fills the width x height canvas `out`, row by row, with the picture's grey levels 0 ... 255 at
// to_picture(x, y), linear between pixels; outside of the picture its nearest pixel counts. Where
// the map reduces, each value is the mean over a grid of places inside its pixel. The arithmetic is
// that of whole numbers until the last product, so the bits are the same everywhere.
void warp(const GreyView& picture, const Affine& to_picture, int width, int height, float* out);

// Binomial smoothing in place, five taps each way: a Gaussian of sigma 1. `scratch` has width *
// height values.
void smooth(float* canvas, int width, int height, float* scratch);

}  // namespace remora
