#include "follow/canvas/halving.h"

#include <algorithm>
#include <cmath>

namespace remora {
namespace {

constexpr double kTolerated = 1.4;  // pixels between two places
constexpr int kMostTimes = 8;
constexpr int kSmallest = 4;     // pixels, of what is left
constexpr double kMargin = 2.0;  // pixels that are looked at beside a place

void halveRow(const unsigned char* upper, const unsigned char* lower, int count,
              unsigned char* out) {
  for (int i = 0; i < count; ++i) {
    const int sum = upper[2 * i] + upper[2 * i + 1] + lower[2 * i] + lower[2 * i + 1];
    out[i] = static_cast<unsigned char>((sum + 2) >> 2);
  }
}

int timesFor(const Affine& map) {
  double step =
      std::sqrt(std::max(map.xx * map.xx + map.yx * map.yx, map.xy * map.xy + map.yy * map.yy));
  int times = 0;
  for (; step > kTolerated && times < kMostTimes; step *= 0.5) ++times;
  return times;
}

}  // namespace

void Halved::take(const GreyView& picture, const Affine& to_picture, int width, int height,
                  int around) {
  view_ = picture;
  origin_ = {};
  times_ = 0;
  // Room for the largest part there can be, so that later ones need no more; it costs
  // nothing until it is used.
  const std::size_t most =
      static_cast<std::size_t>(picture.width / 2) * static_cast<std::size_t>(picture.height / 2);
  pixels_.reserve(most);
  half_.reserve(most);
  int times = timesFor(to_picture);
  if (times == 0) return;
  Point low{1e9, 1e9}, high{-1e9, -1e9};
  for (const double x : {-1.0 - around, 1.0 * width + around}) {
    for (const double y : {-1.0 - around, 1.0 * height + around}) {
      const Point at = to_picture({x, y});
      low = {std::min(low.x, at.x), std::min(low.y, at.y)};
      high = {std::max(high.x, at.x), std::max(high.y, at.y)};
    }
  }
  // Corners at whole pixels of what is left, so that these are the same for every part.
  const double margin = kMargin * (1 << times);
  const int whole = ~((1 << times) - 1);
  const auto corner = [whole](double at, int size) {
    return static_cast<int>(std::clamp(at, 0.0, 1.0 * size)) & whole;
  };
  const int left = corner(low.x - margin, picture.width);
  const int top = corner(low.y - margin, picture.height);
  const int right = corner(high.x + 2.0 * margin, picture.width);
  const int bottom = corner(high.y + 2.0 * margin, picture.height);
  if (!((right - left) >> times >= kSmallest && (bottom - top) >> times >= kSmallest)) return;
  view_ = {picture.data + top * picture.stride + left, right - left, bottom - top, picture.stride};
  origin_ = {left - 0.5, top - 0.5};
  for (; times > 0; --times) halve();
}

void Halved::halve() {
  const int width = view_.width / 2;
  const int height = view_.height / 2;
  half_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) {
    const unsigned char* const upper = view_.data + 2 * y * view_.stride;
    halveRow(upper, upper + view_.stride, width,
             half_.data() + static_cast<std::ptrdiff_t>(y) * width);
  }
  pixels_.swap(half_);
  view_ = {pixels_.data(), width, height, width};
  ++times_;
}

Affine Halved::map(const Affine& to_picture) const {
  if (times_ == 0) return to_picture;
  const double factor = 1.0 / (1 << times_);
  return translation({-0.5, -0.5}) * scaling(factor) * translation(-1.0 * origin_) * to_picture;
}

}  // namespace remora
