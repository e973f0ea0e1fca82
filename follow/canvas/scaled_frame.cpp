#include "follow/canvas/scaled_frame.h"

#include <algorithm>
#include <cmath>

#include "follow/base/text.h"
#include "follow/error.h"
#include "internal/frame.h"

namespace remora {
namespace {

constexpr double kMostPixels = 1 << 26;

int resized(int size, float scale) {
  return std::max(1, static_cast<int>(std::lround(size * static_cast<double>(scale))));
}

}  // namespace

ScaledFrame::ScaledFrame(int frame_width, int frame_height, float scale)
    : frame_width_(frame_width), frame_height_(frame_height) {
  const double pixels = 1.0 * frame_width * frame_height * std::pow(scale, 2.0);
  if (!(pixels <= kMostPixels)) {
    throw Error(format("frames of %d x %d are too large to be worked on at scale %g", frame_width,
                       frame_height, static_cast<double>(scale)));
  }
  width_ = resized(frame_width, scale);
  height_ = resized(frame_height, scale);
  x_scale_ = 1.0 * width_ / frame_width;
  y_scale_ = 1.0 * height_ / frame_height;
}

CImg<float> ScaledFrame::prepare(const GreyImage& picture) const {
  constexpr int kNearest = 1;
  CImg<float> frame(static_cast<unsigned>(picture.width), static_cast<unsigned>(picture.height));
  std::copy(picture.pixels.begin(), picture.pixels.end(), frame.data());
  internal::blur(frame);
  frame.resize(width_, height_, 1, 1, kNearest, 0, 0.0F, 0.0F, 0.0F, 0.0F);
  return frame;
}

Point ScaledFrame::fromFrame(const Point& point) const {
  return {point.x * x_scale_, point.y * y_scale_};
}

Point ScaledFrame::toFrame(const Point& point) const {
  return {point.x / x_scale_, point.y / y_scale_};
}

Shape ScaledFrame::fromFrame(const Shape& shape) const {
  Shape placed;
  for (const Point& point : shape) placed.push_back(fromFrame(point));
  return placed;
}

Shape ScaledFrame::toFrame(const Shape& shape) const {
  Shape placed;
  for (const Point& point : shape) placed.push_back(toFrame(point));
  return placed;
}

}  // namespace remora
