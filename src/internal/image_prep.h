// How a frame is prepared: smoothed, and brought to its working size with three channels.
//
// Also included by the programs in this tree, so that frames are tracked as they were trained.
#pragma once

#include <algorithm>
#include <cstdint>

#include "cimg/CImg.h"
#include "internal/pixel.h"

namespace remora::internal {

constexpr float kBlurSigma = 1.0F;
constexpr int kChannels = 3;

// Recursive Gaussian smoothing along every axis that has more than one pixel (R. Deriche,
// "Recursively implementing the Gaussian and its derivatives", 1993). CImg's own blur() does
// something else in newer versions.
inline void blur(CImg<float>& image) {
  constexpr unsigned int kSmooth = 0;
  constexpr unsigned int kEdgeValuesContinue = 1;
  if (image.width() > 1) image.deriche(kBlurSigma, kSmooth, 'x', kEdgeValuesContinue);
  if (image.height() > 1) image.deriche(kBlurSigma, kSmooth, 'y', kEdgeValuesContinue);
  if (image.depth() > 1) image.deriche(kBlurSigma, kSmooth, 'z', kEdgeValuesContinue);
}

// The size argument for an image scale: minus the whole percentage, truncated toward zero. The
// product is formed in double, so scales that a float holds a little too small lose one percent.
inline int sizeArgument(float scale) { return wholeInt(static_cast<double>(scale) * -100.0); }

// What a size argument makes of a width or height: a percentage of it when negative, pixels when
// positive; at least 1.
inline int resizedTo(int size_argument, int size) {
  if (size_argument >= 0) return size_argument;
  const std::int64_t percent = -std::int64_t{size_argument};
  return static_cast<int>(std::clamp<std::int64_t>(percent * size / 100, 1, INT_MAX));
}

// Nearest-neighbour resize to a size argument for both axes, depth 1 and three channels. A size
// argument of 0 leaves an empty image.
inline void resizeBy(CImg<float>& image, int size_argument) {
  constexpr int kNearest = 1;
  if (size_argument == 0 || image.is_empty()) {
    image.assign();
    return;
  }
  image.resize(resizedTo(size_argument, image.width()), resizedTo(size_argument, image.height()), 1,
               kChannels, kNearest, 0, 0.0F, 0.0F, 0.0F, 0.0F);
}

}  // namespace remora::internal
