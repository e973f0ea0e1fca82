// Pixels: how positions become whole pixels and how a sample is taken. The only place that knows
// the row order of an image and the scale of its grey levels.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include "cimg/CImg.h"

namespace remora::internal {

constexpr double kGreyLevels = 255.0;  // a sample is the quotient by this, 0 ... 1 for 8-bit images

// Farther away than any image reaches, yet small enough for int offsets to be added to it.
constexpr std::int64_t kNowhere = INT64_MAX / 4;

// Truncation toward zero. A value that fits no int becomes a place outside every image: beyond the
// far side when it is positive, before the near side when it is negative or not a number.
inline std::int64_t truncated(double value) {
  if (value > -2147483649.0 && value < 2147483648.0) return static_cast<std::int64_t>(value);
  return value > 0 ? kNowhere : -kNowhere;
}

// Truncation toward zero, limited to what an int holds; 0 for what is not a number.
inline int wholeInt(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(truncated(value), INT_MIN, INT_MAX));
}

// The first channel of a float image.
class PixelView {
 public:
  explicit PixelView(const CImg<float>& image)
      : data_(image.data()), width_(image.width()), height_(image.height()) {}

  int width() const { return width_; }
  int height() const { return height_; }

  bool contains(std::int64_t x, std::int64_t y) const {
    return x >= 0 && x < width_ && y >= 0 && y < height_;
  }

  // requires: contains(x, y)
  double sample(std::int64_t x, std::int64_t y) const {
    return static_cast<double>(data_[x + y * width_]) / kGreyLevels;
  }

  // The sample at the pixel of the image that lies nearest to (x, y); 0 in an empty image.
  double nearestSample(std::int64_t x, std::int64_t y) const {
    if (width_ <= 0 || height_ <= 0) return 0.0;
    return sample(std::clamp<std::int64_t>(x, 0, width_ - 1),
                  std::clamp<std::int64_t>(y, 0, height_ - 1));
  }

 private:
  const float* data_;
  int width_;
  int height_;
};

// The first byte of each pixel of a buffer of 3-byte pixels, `line_size` bytes a row.
class ByteView {
 public:
  ByteView(const unsigned char* data, int line_size, int width, int height)
      : data_(data), line_size_(line_size), width_(data == nullptr ? 0 : width), height_(height) {}

  bool contains(std::int64_t x, std::int64_t y) const {
    return x >= 0 && x < width_ && y >= 0 && y < height_;
  }

  // requires: contains(x, y)
  double sample(std::int64_t x, std::int64_t y) const {
    constexpr std::int64_t kBytesPerPixel = 3;
    return static_cast<double>(data_[kBytesPerPixel * x + y * line_size_]) / kGreyLevels;
  }

 private:
  const unsigned char* data_;
  std::int64_t line_size_;
  int width_;
  int height_;
};

}  // namespace remora::internal
