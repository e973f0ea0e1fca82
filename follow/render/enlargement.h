// The part of a frame that is drawn on, in the size that it is drawn in.
#pragma once

#include "follow/footage/picture.h"

namespace remora {

// A part of a frame, in its pixels.
struct Crop {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// A part of a picture in red, green and blue, `factor` times as large, by linear interpolation in
// whole numbers. With `even`, a last row or column is repeated where the size would be odd.
Picture enlarged(const Picture& frame, const Crop& part, int factor, bool even);

}  // namespace remora
