// What the sets with 256-bit registers have in common.
#pragma once

#include <immintrin.h>

#include "internal/kernels/kernels.h"

namespace remora::internal {
namespace {

// Equals grey / kGreyLevels for every finite float; NaN for infinity.
template <class Lanes>
typename Lanes::Doubles nearlyGeneralQuotient(typename Lanes::Doubles grey) {
  const auto reciprocal = Lanes::all(1.0 / kGreyLevels);
  const auto near = grey * reciprocal;
  const auto excess = Lanes::multiplySubtract(near, Lanes::all(kGreyLevels), grey);
  return Lanes::negateMultiplyAdd(excess, reciprocal, near);
}

// 8 rows of 8 floats become 8 columns.
inline void transposeTile(const float* from, std::size_t pitch, float (*to)[kUnitLanes]) {
  const auto pair = [from, pitch](std::size_t row) {  // halves of rows `row` and `row` + 4
    return _mm256_insertf128_ps(
        _mm256_castps128_ps256(_mm_loadu_ps(from + row % 4 * pitch + row / 4 * 4)),
        _mm_loadu_ps(from + (row % 4 + 4) * pitch + row / 4 * 4), 1);
  };
  for (std::size_t half = 0; half < 2; ++half) {
    const __m256 row0 = pair(4 * half), row1 = pair(4 * half + 1);
    const __m256 row2 = pair(4 * half + 2), row3 = pair(4 * half + 3);
    const __m256 low01 = _mm256_unpacklo_ps(row0, row1), high01 = _mm256_unpackhi_ps(row0, row1);
    const __m256 low23 = _mm256_unpacklo_ps(row2, row3), high23 = _mm256_unpackhi_ps(row2, row3);
    _mm256_store_ps(to[4 * half], _mm256_shuffle_ps(low01, low23, 0x44));
    _mm256_store_ps(to[4 * half + 1], _mm256_shuffle_ps(low01, low23, 0xEE));
    _mm256_store_ps(to[4 * half + 2], _mm256_shuffle_ps(high01, high23, 0x44));
    _mm256_store_ps(to[4 * half + 3], _mm256_shuffle_ps(high01, high23, 0xEE));
  }
}

}  // namespace
}  // namespace remora::internal
