// AVX2 with FMA: vectors of four doubles.
#include "internal/kernels/avx.h"
#include "internal/kernels/lane_rows.h"
#include "internal/kernels/lane_sums.h"

namespace remora::internal {
namespace {

struct Avx2 {
  using Doubles = __m256d;
  using Floats = __m128;
  static constexpr std::size_t kTileRows = 4, kTileVectors = 2;

  static Floats load(const float* from) { return _mm_loadu_ps(from); }
  static Doubles load(const double* from) { return _mm256_loadu_pd(from); }
  static void store(float* to, Floats values) { _mm_storeu_ps(to, values); }
  static void store(double* to, Doubles values) { _mm256_storeu_pd(to, values); }
  static Doubles all(double value) { return _mm256_set1_pd(value); }
  static Doubles addExactProduct(Doubles sum, Doubles a, Doubles b) {
    return _mm256_fmadd_pd(a, b, sum);
  }
  static Doubles widen(Floats values) { return _mm256_cvtps_pd(values); }
  static Floats narrow(Doubles values) { return _mm256_cvtpd_ps(values); }

  static Doubles multiplySubtract(Doubles a, Doubles b, Doubles c) {
    return _mm256_fmsub_pd(a, b, c);
  }
  static Doubles negateMultiplyAdd(Doubles a, Doubles b, Doubles c) {
    return _mm256_fnmadd_pd(a, b, c);
  }
  static constexpr bool kQuotientIsGeneral = false;
  static Doubles quotient(Doubles grey) { return nearlyGeneralQuotient<Avx2>(grey); }

  static void transpose(const float* from, std::size_t pitch, float (*to)[kUnitLanes]) {
    transposeTile(from, pitch, to);
  }
};

// Entry m: which of 8 elements the bits of m keep, packed to the front.
struct PackTable {
  constexpr PackTable() : keep() {
    for (unsigned mask = 0; mask < 256; ++mask) {
      unsigned kept = 0;
      for (unsigned bit = 0; bit < 8; ++bit) {
        if ((mask >> bit & 1U) != 0) keep[mask] |= std::uint64_t{bit} << 8 * kept++;
      }
    }
  }
  std::uint64_t keep[256];
};
constexpr PackTable kPack;

// The order in which a window's pixels are packed, a byte each.
__m128i packOrder(const Window& window) {
  return _mm_cvtsi64_si128(static_cast<long long>(kPack.keep[window.wanted]));
}

void takePixels(const Window* first, const Window* last, const float* pixels, std::ptrdiff_t centre,
                std::ptrdiff_t row_stride, float* taken) {
  const __m256i bits = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
  for (; first != last; ++first) {
    const __m256i wanted = _mm256_set1_epi32(static_cast<int>(first->wanted));
    const __m256i mask = _mm256_cmpeq_epi32(_mm256_and_si256(wanted, bits), bits);
    const float* const from = pixels + (centre + first->dx + first->dy * row_stride);
    const __m256 greys = _mm256_maskload_ps(from, mask);
    const __m256i order = _mm256_cvtepu8_epi32(packOrder(*first));
    _mm256_storeu_ps(taken, _mm256_permutevar8x32_ps(greys, order));
    taken += __builtin_popcount(first->wanted);
  }
}

void takeBytes(const Window* first, const Window* last, const unsigned char* bytes,
               std::ptrdiff_t centre, std::ptrdiff_t row_stride, float* taken) {
  // 8 pixels in 24 bytes: 6 of them in the first 16 bytes, 2 in the last 16.
  const __m128i front = _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const __m128i back =
      _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 10, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  for (; first != last; ++first) {
    const unsigned char* const from =
        bytes + (centre + kPixelBytes * std::ptrdiff_t{first->dx} + first->dy * row_stride);
    const auto* const low = reinterpret_cast<const __m128i*>(from);
    const auto* const high = reinterpret_cast<const __m128i*>(from + 8);
    const __m128i greys = _mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(low), front),
                                       _mm_shuffle_epi8(_mm_loadu_si128(high), back));
    const __m256i packed = _mm256_cvtepu8_epi32(_mm_shuffle_epi8(greys, packOrder(*first)));
    _mm256_storeu_ps(taken, _mm256_cvtepi32_ps(packed));
    taken += __builtin_popcount(first->wanted);
  }
}

}  // namespace

const Kernels kAvx2Kernels = {"AVX2",
                              8,
                              takePixels,
                              takeBytes,
                              LaneSums<Avx2>::sumSteps,
                              LaneSums<Avx2>::mapOffsets,
                              LaneRows<Avx2>::formRows,
                              LaneRows<Avx2>::addGram,
                              LaneRows<Avx2>::addMoment,
                              LaneRows<Avx2>::addErrors};

}  // namespace remora::internal
