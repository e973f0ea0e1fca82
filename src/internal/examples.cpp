#include "internal/examples.h"

#include <algorithm>

#include "internal/kernels/kernels.h"

namespace remora::internal {
namespace {

constexpr std::size_t kRowsAtATime = 32;  // they stay in the L1 cache

}  // namespace

// The constant is a white pixel with a black template: 255 / 255 - 0.
ExampleSampler::ExampleSampler(const int* offs, const double* templ, std::size_t features)
    : offs_(offs),
      features_(features),
      box_(boxOf(offs, features)),
      indices_(features),
      templ_(wholeUnits(features + 1), 0.0),
      greys_(kRowsAtATime * templ_.size(), 0.0F) {
  std::copy_n(templ, features, templ_.begin());
  for (std::size_t row = 0; row < kRowsAtATime; ++row) {
    greys_[row * pitch() + features] = static_cast<float>(kGreyLevels);
  }
}

void ExampleSampler::sample(const PixelView& view, const float* reference,
                            const double* displacements, std::size_t count, double* rows) {
  const std::int64_t x = truncated(static_cast<double>(reference[0]));
  const std::int64_t y = truncated(static_cast<double>(reference[1]));
  indexOffsets(view);
  while (count > 0) {
    const std::size_t size = std::min(count, kRowsAtATime);
    for (std::size_t row = 0; row < size; ++row, displacements += 2) {
      take(view, x + truncated(displacements[0]), y + truncated(displacements[1]),
           greys_.data() + row * pitch());
    }
    kernels().formRows(greys_.data(), templ_.data(), size, pitch(), rows);
    rows += size * pitch();
    count -= size;
  }
}

void ExampleSampler::indexOffsets(const PixelView& view) {
  for (std::size_t k = 0; k < features_; ++k) {
    indices_[k] = view.index(offs_[2 * k], offs_[2 * k + 1]);
  }
}

void ExampleSampler::take(const PixelView& view, std::int64_t x, std::int64_t y,
                          float* greys) const {
  if (view.contains(x + box_.min_x, y + box_.min_y) &&
      view.contains(x + box_.max_x, y + box_.max_y)) {
    const float* const pixels = view.data();
    const std::ptrdiff_t centre = view.index(x, y);
    for (std::size_t k = 0; k < features_; ++k) greys[k] = pixels[centre + indices_[k]];
  } else {
    for (std::size_t k = 0; k < features_; ++k) {
      greys[k] = view.nearestGrey(x + offs_[2 * k], y + offs_[2 * k + 1]);
    }
  }
}

void padRows(const double* differences, std::size_t features, std::size_t count, std::size_t pitch,
             double* rows) {
  for (std::size_t row = 0; row < count; ++row, differences += features, rows += pitch) {
    std::copy_n(differences, features, rows);
    rows[features] = 1.0;
    std::fill(rows + features + 1, rows + pitch, 0.0);
  }
}

}  // namespace remora::internal
