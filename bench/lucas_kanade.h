// A peer: pyramidal Lucas-Kanade with 21 x 21 windows and 3 levels, on one thread.
#pragma once

#include <memory>
#include <vector>

#include "cimg/CImg.h"

namespace remora::bench {

class LucasKanade {
 public:
  // Points (x, y) in the first image.
  LucasKanade(const CImg<float>& first, const std::vector<double>& points);
  ~LucasKanade();

  // Finds the points in the next image; its pyramid is made, the first one's is there.
  void track(const CImg<unsigned char>& next);

 private:
  struct Pyramid;
  std::unique_ptr<Pyramid> pyramid_;
};

}  // namespace remora::bench
