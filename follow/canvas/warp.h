// Warping: a part of a picture, drawn as an affine map of a canvas says.
#pragma once

#include <cstddef>
#include <cstdint>

#include "follow/canvas/affine.h"

namespace remora {

// An 8-bit grey picture in memory that somebody else owns.
struct GreyView {
  const unsigned char* data = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t stride = 0;  // bytes from a row to the next
};

// Draws runs of canvas pixels: the picture's grey levels 0 ... 255 at to_picture(x, y), linear
// between pixels; outside of the picture its nearest pixel counts. Where the map reduces, each
// value is the mean over a grid of places inside its pixel. The arithmetic is that of whole numbers
// until the last product, so a pixel has the same bits on every machine, whatever run it is in.
class Warp {
 public:
  Warp() = default;
  Warp(const GreyView& picture, const Affine& to_picture);

  // The pixels (x, y) to (x + count - 1, y), wherever that is.
  void row(int x, int y, int count, float* out) const;

 private:
  struct Place {
    std::int64_t x = 0, y = 0;  // of the picture, in steps of 2^-kPlaceBits pixels
  };

  void sample(const Place& first, int count, std::int32_t* greys) const;
  void addGroups(const std::int32_t* greys, int count, std::int32_t* sums) const;
  bool holds(const Place& place, int beyond) const;
  std::int32_t clampedAt(const Place& place) const;

  GreyView picture_;
  int samples_ = 1;             // of a pixel, in each direction
  Place start_, right_, down_;  // the first sample of pixel (0, 0), and from one to the next
  bool short_steps_ = false;
};

// Fills the width x height canvas `out`, row by row.
void warp(const GreyView& picture, const Affine& to_picture, int width, int height, float* out);

}  // namespace remora
