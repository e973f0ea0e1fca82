#include "follow/canvas/warp.h"

#include <algorithm>
#include <cmath>

#include "follow/canvas/halving.h"
#include "follow/canvas/kernels/kernels.h"

namespace remora {
namespace {

constexpr double kFarthest = 1e6;         // pixels; farther places are outside all the same
constexpr double kLongestStep = 16384.0;  // pixels; a row of steps still fits a whole number
constexpr double kTolerated = 1.4;        // pixels of the picture between two samples
constexpr int kMostSamples = 8;           // of a pixel, in each direction

// What is no number counts as far away.
std::int64_t toFixed(double value, double limit) {
  const double limited = value > -limit ? std::min(value, limit) : -limit;
  return static_cast<std::int64_t>(std::floor(limited * (1 << kPlaceBits) + 0.5));
}

bool isShort(std::int64_t step) { return step >= -kLongestPace && step <= kLongestPace; }

int samplesPerPixel(const Affine& map) {
  const double longest =
      std::sqrt(std::max(map.xx * map.xx + map.yx * map.yx, map.xy * map.xy + map.yy * map.yy));
  if (!(longest > kTolerated)) return 1;
  return static_cast<int>(std::min<double>(std::ceil(longest / kTolerated), kMostSamples));
}

}  // namespace

Warp::Warp(const GreyView& picture, const Affine& to_picture)
    : picture_(picture), samples_(samplesPerPixel(to_picture)) {
  const double spacing = 1.0 / samples_;
  right_ = {toFixed(spacing * to_picture.xx, kLongestStep),
            toFixed(spacing * to_picture.yx, kLongestStep)};
  down_ = {toFixed(spacing * to_picture.xy, kLongestStep),
           toFixed(spacing * to_picture.yy, kLongestStep)};
  const double first = 0.5 * spacing - 0.5;
  const Point start = to_picture({first, first});
  start_ = {toFixed(start.x, kFarthest), toFixed(start.y, kFarthest)};
  short_steps_ = isShort(right_.x) && isShort(right_.y);
}

void Warp::row(int x, int y, int count, float* out) const {
  const float unit = 1.0F / static_cast<float>((1 << 2 * kWeightBits) * samples_ * samples_);
  std::int32_t sums[kLongestRun];
  std::int32_t greys[kRunRoom];
  const int most = kLongestRun / samples_;
  for (int from = 0; from < count; from += most) {
    const int length = std::min(count - from, most);
    std::fill(sums, sums + length, 0);
    const std::int64_t column = std::int64_t{x + from} * samples_;
    for (int s = 0; s < samples_; ++s) {
      const std::int64_t line = std::int64_t{y} * samples_ + s;
      sample({start_.x + column * right_.x + line * down_.x,
              start_.y + column * right_.y + line * down_.y},
             length * samples_, greys);
      addGroups(greys, length, sums);
    }
    for (int i = 0; i < length; ++i) out[from + i] = static_cast<float>(sums[i]) * unit;
  }
}

void Warp::addGroups(const std::int32_t* greys, int count, std::int32_t* sums) const {
  if (samples_ == 1) {
    for (int i = 0; i < count; ++i) sums[i] += greys[i];
    return;
  }
  for (int i = 0; i < count; ++i) {
    for (int s = 0; s < samples_; ++s) sums[i] += *greys++;
  }
}

void Warp::sample(const Place& first, int count, std::int32_t* greys) const {
  const std::int64_t steps = count - 1;
  const Place last{first.x + steps * right_.x, first.y + steps * right_.y};
  if (short_steps_ && holds(first, 0) && holds(last, 0)) {
    constexpr std::int64_t kWithin = (1 << kPlaceBits) - 1;
    const Run run{
        picture_.data + (first.y >> kPlaceBits) * picture_.stride + (first.x >> kPlaceBits),
        picture_.stride,
        static_cast<std::int32_t>(first.x & kWithin),
        static_cast<std::int32_t>(first.y & kWithin),
        static_cast<std::int32_t>(right_.x),
        static_cast<std::int32_t>(right_.y),
        count};
    const SamplingKernels& best = samplingKernels();
    const bool fits = holds(first, best.beyond) && holds(last, best.beyond);
    (fits ? best : kPlainSampling).sample(run, greys);
    return;
  }
  const bool empty = picture_.width < 1 || picture_.height < 1;
  for (int i = 0; i < count; ++i) {
    greys[i] = empty ? 0 : clampedAt({first.x + i * right_.x, first.y + i * right_.y});
  }
}

// Whether a place lies between pixels, with some more on their right.
bool Warp::holds(const Place& place, int beyond) const {
  const std::int64_t column = place.x >> kPlaceBits;
  const std::int64_t row = place.y >> kPlaceBits;
  return column >= 0 && column + 1 + beyond < picture_.width && row >= 0 &&
         row + 1 < picture_.height;
}

std::int32_t Warp::clampedAt(const Place& place) const {
  const auto column = [this](std::int64_t at) {
    return std::clamp<std::int64_t>(at, 0, picture_.width - 1);
  };
  const auto row = [this](std::int64_t at) {
    return picture_.data + std::clamp<std::int64_t>(at, 0, picture_.height - 1) * picture_.stride;
  };
  const auto weight = [](std::int64_t at) {
    return static_cast<std::int32_t>(at >> (kPlaceBits - kWeightBits)) & ((1 << kWeightBits) - 1);
  };
  const std::int64_t left = column(place.x >> kPlaceBits);
  const std::int64_t right = column((place.x >> kPlaceBits) + 1);
  const auto mixed = [&](const unsigned char* pixels) {
    return (pixels[left] << kWeightBits) + (pixels[right] - pixels[left]) * weight(place.x);
  };
  const std::int32_t upper = mixed(row(place.y >> kPlaceBits));
  const std::int32_t lower = mixed(row((place.y >> kPlaceBits) + 1));
  return (upper << kWeightBits) + (lower - upper) * weight(place.y);
}

void warp(const GreyView& picture, const Affine& to_picture, int width, int height, float* out) {
  Halved halved;
  halved.take(picture, to_picture, width, height, 0);
  const Warp rows(halved.view(), halved.map(to_picture));
  for (int y = 0; y < height; ++y) {
    rows.row(0, y, width, out + static_cast<std::ptrdiff_t>(y) * width);
  }
}

}  // namespace remora
