// What a prediction step samples: an image seen from one whole-pixel centre. It offers the grey
// level at an offset (dx, dy) known to lie inside, the one at any offset (0 outside), and a test
// for a box of offsets.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "internal/kernels/kernels.h"
#include "internal/offset_box.h"
#include "internal/pixel.h"

namespace remora::internal {

inline bool fitsInt(std::int64_t value) { return value >= INT_MIN && value <= INT_MAX; }

template <class View>
class CentredImage {
 public:
  CentredImage(const View& view, const double* centre)
      : view_(view),
        x_(truncated(centre[0])),
        y_(truncated(centre[1])),
        index_(fitsInt(x_) && fitsInt(y_) ? view.index(x_, y_) : 0) {}

  float inside(const int* offset) const { return insideAt(offset[0], offset[1]); }

  float anywhere(const int* offset) const {
    return contains(offset[0], offset[1]) ? inside(offset) : 0.0F;
  }

  float insideAt(std::ptrdiff_t dx, std::ptrdiff_t dy) const {
    return static_cast<float>(view_.data()[index_ + view_.index(dx, dy)]);
  }

  bool contains(std::int64_t dx, std::int64_t dy) const { return view_.contains(x_ + dx, y_ + dy); }

  bool covers(const OffsetBox& box) const {
    return contains(box.min_x, box.min_y) && contains(box.max_x, box.max_y);
  }

  const View& view() const { return view_; }

  // Index of the centre's pixel in the data, also where the centre lies outside the image. Not
  // valid for a centre so far away that no offset leads into the image.
  std::ptrdiff_t index() const { return index_; }

 private:
  View view_;
  std::int64_t x_;
  std::int64_t y_;
  std::ptrdiff_t index_;
};

// A float image sampled at offsets that a linear map moves first: elements 0, 1, 3 and 4 of a
// row-major matrix of three columns.
class MappedImage {
 public:
  MappedImage(const PixelView& view, const double* centre, const double* map)
      : kernels_(kernels()), image_(view, centre), map_{map[0], map[1], map[3], map[4]} {}

  // Where the pixels at offsets `from` to `to` - 1 are in the data, counted from the centre's.
  // requires: a box that is covered
  void map(const int* offs, std::size_t from, std::size_t to, int* places) const {
    if (from >= to) return;
    kernels_.mapOffsets(map_, static_cast<int>(image_.view().rowStride()), offs + 2 * from,
                        to - from, places);
  }
  float insideAt(int place) const { return image_.view().data()[image_.index() + place]; }

  float anywhere(const int* offset) const {
    const std::int64_t x = mappedX(offset[0], offset[1]);
    const std::int64_t y = mappedY(offset[0], offset[1]);
    return image_.contains(x, y) ? image_.insideAt(x, y) : 0.0F;
  }

  // The map and its rounding are monotone in dx and in dy, so the corners decide. The centre must
  // be inside, too: then a place cannot be farther from it than the image is large, which fits an
  // int.
  bool covers(const OffsetBox& box) const {
    const PixelView& view = image_.view();
    if (!image_.contains(0, 0) || !fitsInt(view.index(0, view.height()))) return false;
    for (const int dx : {box.min_x, box.max_x}) {
      for (const int dy : {box.min_y, box.max_y}) {
        const std::int64_t x = mappedX(dx, dy);
        const std::int64_t y = mappedY(dx, dy);
        if (!image_.contains(x, y)) return false;
      }
    }
    return true;
  }

 private:
  // An offset beyond the range of int leads out of every image, wherever the centre is.
  static std::int64_t wholeOffset(double offset) {
    constexpr std::int64_t kBeyond = std::int64_t{1} << 32;
    return std::clamp(truncated(offset), -kBeyond, kBeyond);
  }
  std::int64_t mappedX(int dx, int dy) const { return wholeOffset(map_[0] * dx + map_[1] * dy); }
  std::int64_t mappedY(int dx, int dy) const { return wholeOffset(map_[2] * dx + map_[3] * dy); }

  const Kernels& kernels_;
  CentredImage<PixelView> image_;
  double map_[4];
};

}  // namespace remora::internal
