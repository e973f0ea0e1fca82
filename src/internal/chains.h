// Weighted sums over image samples: one per coordinate of a point.
#pragma once

#include <algorithm>
#include <cstddef>

#include "internal/arrays.h"
#include "internal/centred_image.h"
#include "internal/offset_box.h"
#include "internal/pixel.h"

namespace remora::internal {

// Sum of weights[k] * sample at offset k - terms[k]. The arrays belong to a FastLP.
struct Chain {
  const int* offs = nullptr;  // (dx, dy) of each support pixel
  const double* weights = nullptr;
  const double* terms = nullptr;
  int size = 0;
  OffsetBox box;
};

// Whether an image covers all samples of a chain.
template <class Image>
bool covers(const Image& image, const Chain& chain) {
  return chain.size == 0 || image.covers(chain.box);
}

// One step of a chain: the term is a double, the running sum is rounded to float.
inline float stepped(float sum, const Chain& chain, std::size_t k, double sample) {
  const double term = chain.weights[k] * sample - chain.terms[k];
  return static_cast<float>(static_cast<double>(sum) + term);
}

// Adds steps `from` to `to` - 1 of two chains, as far as they go, to their sums: either one waits
// for its own previous step only. `grey_a` and `grey_b` give the grey level for a step.
template <class GreyA, class GreyB>
void sumSideBySide(const Chain& a, const Chain& b, std::size_t from, std::size_t to, GreyA grey_a,
                   GreyB grey_b, float* sums) {
  const std::size_t end_a = std::min(to, toSize(a.size));
  const std::size_t end_b = std::min(to, toSize(b.size));
  float sum_a = sums[0];
  float sum_b = sums[1];
  std::size_t k = from;
  for (const std::size_t both = std::min(end_a, end_b); k < both; ++k) {
    const SamplePair samples = sampled(grey_a(k), grey_b(k));
    sum_a = stepped(sum_a, a, k, samples[0]);
    sum_b = stepped(sum_b, b, k, samples[1]);
  }
  for (std::size_t i = k; i < end_a; ++i) sum_a = stepped(sum_a, a, i, sampled(grey_a(i)));
  for (std::size_t i = k; i < end_b; ++i) sum_b = stepped(sum_b, b, i, sampled(grey_b(i)));
  sums[0] = sum_a;
  sums[1] = sum_b;
}

// The sums of two chains over images that may not cover them.
template <class Image>
void sumAnywhere(const Chain& a, const Image& image_a, const Chain& b, const Image& image_b,
                 float* sums) {
  sums[0] = sums[1] = 0.0F;
  sumSideBySide(
      a, b, 0, toSize(std::max(a.size, b.size)),
      [&](std::size_t k) { return image_a.anywhere(a.offs + 2 * k); },
      [&](std::size_t k) { return image_b.anywhere(b.offs + 2 * k); }, sums);
}

// The sums of two chains, each over its own image.
template <class View>
void sumPair(const Chain& a, const CentredImage<View>& image_a, const Chain& b,
             const CentredImage<View>& image_b, float* sums) {
  if (!covers(image_a, a) || !covers(image_b, b)) return sumAnywhere(a, image_a, b, image_b, sums);
  sums[0] = sums[1] = 0.0F;
  sumSideBySide(
      a, b, 0, toSize(std::max(a.size, b.size)),
      [&](std::size_t k) { return image_a.inside(a.offs + 2 * k); },
      [&](std::size_t k) { return image_b.inside(b.offs + 2 * k); }, sums);
}

// The same over a mapped image, whose offsets are mapped in blocks.
inline void sumPair(const Chain& a, const MappedImage& image_a, const Chain& b,
                    const MappedImage& image_b, float* sums) {
  if (!covers(image_a, a) || !covers(image_b, b)) return sumAnywhere(a, image_a, b, image_b, sums);
  constexpr std::size_t kBlock = 64;
  int places_a[kBlock];
  int places_b[kBlock];
  sums[0] = sums[1] = 0.0F;
  for (std::size_t from = 0; from < toSize(std::max(a.size, b.size)); from += kBlock) {
    image_a.map(a.offs, from, std::min(from + kBlock, toSize(a.size)), places_a);
    image_b.map(b.offs, from, std::min(from + kBlock, toSize(b.size)), places_b);
    sumSideBySide(
        a, b, from, from + kBlock,
        [&](std::size_t k) { return image_a.insideAt(places_a[k - from]); },
        [&](std::size_t k) { return image_b.insideAt(places_b[k - from]); }, sums);
  }
}

}  // namespace remora::internal
