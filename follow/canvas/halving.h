// Smaller copies of a part of a picture, for what is drawn much smaller than it is there.
#pragma once

#include <vector>

#include "follow/canvas/affine.h"
#include "follow/canvas/warp.h"

namespace remora {

// A part of a picture, halved some times: each pixel is the rounded mean of four. Pixels are the
// same whatever the part is. Keeps its memory for the next one.
class Halved {
 public:
  // What a map needs that draws width x height pixels, and `around` more on each side: halved until
  // two of them are 1.4 pixels apart at most, or the part gets too small.
  void take(const GreyView& picture, const Affine& to_picture, int width, int height, int around);

  // What was taken: the picture itself where it needed no halving.
  const GreyView& view() const { return view_; }
  // The map to it. requires: the map that it was taken for
  Affine map(const Affine& to_picture) const;

 private:
  void halve();

  GreyView view_;
  Point origin_;  // of the picture, the corner of the part
  int times_ = 0;
  std::vector<unsigned char> pixels_, half_;
};

}  // namespace remora
