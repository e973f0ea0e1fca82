// Pixels: how positions become whole pixels, where a pixel is in an image's data, and how a grey
// level becomes a sample.
#pragma once

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "cimg/CImg.h"
#include "internal/grey_levels.h"
#include "internal/kernels/kernels.h"

namespace remora::internal {

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

// Two samples with one division.
typedef double SamplePair __attribute__((vector_size(2 * sizeof(double))));
inline SamplePair sampled(float a, float b) {
  return SamplePair{static_cast<double>(a), static_cast<double>(b)} / kGreyLevels;
}

inline double sampled(float grey) { return static_cast<double>(grey) / kGreyLevels; }

// A rectangle of pixels from (0, 0) on.
class Extent {
 public:
  Extent(int width, int height) : width_(std::max(width, 0)), height_(std::max(height, 0)) {}

  int width() const { return width_; }
  int height() const { return height_; }

  // Without a branch: at a border, either answer comes often.
  bool contains(std::int64_t x, std::int64_t y) const {
    const bool in_x = static_cast<std::uint64_t>(x) < static_cast<std::uint64_t>(width_);
    const bool in_y = static_cast<std::uint64_t>(y) < static_cast<std::uint64_t>(height_);
    return static_cast<int>(in_x) & static_cast<int>(in_y);
  }

 private:
  int width_;
  int height_;
};

// The first channel of a float image.
class PixelView : public Extent {
 public:
  using Pixel = float;
  static constexpr std::ptrdiff_t kPixelStride = 1;

  explicit PixelView(const CImg<float>& image)
      : Extent(image.width(), image.height()), data_(image.data()) {}

  const float* data() const { return data_; }
  std::ptrdiff_t rowStride() const { return width(); }
  std::ptrdiff_t index(std::ptrdiff_t x, std::ptrdiff_t y) const { return x + y * rowStride(); }

  // The grey level of the pixel that lies nearest to (x, y); 0 in an empty image.
  float nearestGrey(std::int64_t x, std::int64_t y) const {
    if (width() == 0 || height() == 0) return 0.0F;
    return data_[index(std::clamp<std::int64_t>(x, 0, width() - 1),
                       std::clamp<std::int64_t>(y, 0, height() - 1))];
  }

 private:
  const float* data_;
};

// The first byte of each pixel of a buffer of 3-byte pixels, `line_size` bytes a row.
class ByteView : public Extent {
 public:
  using Pixel = unsigned char;
  static constexpr std::ptrdiff_t kPixelStride = kPixelBytes;

  ByteView(const unsigned char* data, int line_size, int width, int height)
      : Extent(data == nullptr ? 0 : width, height), data_(data), line_size_(line_size) {}

  const unsigned char* data() const { return data_; }
  std::ptrdiff_t rowStride() const { return line_size_; }
  std::ptrdiff_t index(std::ptrdiff_t x, std::ptrdiff_t y) const {
    return x * kPixelStride + y * line_size_;
  }

 private:
  const unsigned char* data_;
  std::int64_t line_size_;
};

}  // namespace remora::internal
