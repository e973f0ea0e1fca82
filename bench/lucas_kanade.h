// A peer: pyramidal Lucas-Kanade with 21 x 21 windows, on one thread.
#pragma once

#include <memory>

#include "follow/annotation/shape.h"
#include "follow/footage/image.h"

namespace remora::bench {

// Pictures are 8-bit grey.
class LucasKanade {
 public:
  // The pictures are halved so many times for the pyramid; 3 is what OpenCV does unasked.
  LucasKanade(const Image& first, const Shape& points, int halvings = 3);
  ~LucasKanade();

  // Finds the points in the next picture; its pyramid is made, that of the one before is there. A
  // point that is given up stays where it was.
  Shape track(const Image& next);

  // Tracks what track() found back to the picture before, which tells a status: how many points
  // came back to where they started, within a pixel.
  int trackBack();

  // The next picture becomes the one before.
  void advance();

 private:
  struct Pyramid;
  std::unique_ptr<Pyramid> pyramid_;
};

}  // namespace remora::bench
