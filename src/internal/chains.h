// Weighted sums over image samples: one per coordinate of a point.
#pragma once

#include <algorithm>

#include "fast_lp.h"
#include "internal/arrays.h"
#include "internal/centred_image.h"
#include "internal/kernels/rounding.h"

namespace remora::internal {

// Sum of weights[k] * sample at offset k - terms[k]. The arrays belong to a FastLP.
struct Chain {
  const int* offs = nullptr;  // (dx, dy) of each support pixel
  const double* weights = nullptr;
  const double* terms = nullptr;
  int size = 0;
  OffsetBox box;
};

// One step of a chain: the term is a double, the running sum is rounded to float.
inline float stepped(float sum, const Chain& chain, int k, double sample) {
  const double term = chain.weights[k] * sample - chain.terms[k];
  return static_cast<float>(static_cast<double>(sum) + term);
}

// A part of a chain, as far as it goes.
inline Chain portion(const Chain& chain, int first, int most) {
  const int from = std::min(first, chain.size);
  return {chain.offs + 2 * std::ptrdiff_t{from}, chain.weights + from, chain.terms + from,
          std::min(most, chain.size - from), chain.box};
}

// Adds to two sums at once: either one waits for its own previous step only. `grey_a` and `grey_b`
// give the grey level for step k.
template <class GreyA, class GreyB>
void sumSideBySide(const Chain& a, const Chain& b, GreyA grey_a, GreyB grey_b, float* sums) {
  float sum_a = sums[0];
  float sum_b = sums[1];
  const int both = std::min(a.size, b.size);
  for (int k = 0; k < both; ++k) {
    const SamplePair samples = sampled(grey_a(k), grey_b(k));
    sum_a = stepped(sum_a, a, k, samples[0]);
    sum_b = stepped(sum_b, b, k, samples[1]);
  }
  for (int k = both; k < a.size; ++k) sum_a = stepped(sum_a, a, k, sampled(grey_a(k)));
  for (int k = both; k < b.size; ++k) sum_b = stepped(sum_b, b, k, sampled(grey_b(k)));
  sums[0] = sum_a;
  sums[1] = sum_b;
}

// The sums of two chains, each over its own image.
template <class Image>
void sumPair(const Chain& a, const Image& image_a, const Chain& b, const Image& image_b,
             float* sums) {
  sums[0] = sums[1] = 0.0F;
  if (image_a.covers(a.box) && image_b.covers(b.box)) {
    sumSideBySide(
        a, b, [&](int k) { return image_a.inside(a.offs + 2 * k); },
        [&](int k) { return image_b.inside(b.offs + 2 * k); }, sums);
  } else {
    sumSideBySide(
        a, b, [&](int k) { return image_a.anywhere(a.offs + 2 * k); },
        [&](int k) { return image_b.anywhere(b.offs + 2 * k); }, sums);
  }
}

// The same over a mapped image, whose offsets are mapped in blocks.
inline void sumPair(const Chain& a, const MappedImage& image_a, const Chain& b,
                    const MappedImage& image_b, float* sums) {
  constexpr int kBlock = 64;
  int places_a[kBlock];
  int places_b[kBlock];
  sums[0] = sums[1] = 0.0F;
  const bool covered = image_a.covers(a.box) && image_b.covers(b.box);
  if (!covered) {
    sumSideBySide(
        a, b, [&](int k) { return image_a.anywhere(a.offs + 2 * k); },
        [&](int k) { return image_b.anywhere(b.offs + 2 * k); }, sums);
    return;
  }
  for (int from = 0; from < std::max(a.size, b.size); from += kBlock) {
    const Chain part_a = portion(a, from, kBlock);
    const Chain part_b = portion(b, from, kBlock);
    image_a.map(part_a.offs, part_a.size, places_a);
    image_b.map(part_b.offs, part_b.size, places_b);
    sumSideBySide(
        part_a, part_b, [&](int k) { return image_a.insideAt(places_a[k]); },
        [&](int k) { return image_b.insideAt(places_b[k]); }, sums);
  }
}

}  // namespace remora::internal
