// AVX-512 F, BW, DQ and VL: vectors of eight doubles.
#include "internal/kernels/avx.h"
#include "internal/kernels/lane_rows.h"
#include "internal/kernels/lane_sums.h"

namespace remora::internal {
namespace {

struct Avx512 {
  using Doubles = __m512d;
  using Floats = __m256;
  static constexpr std::size_t kTileRows = 8, kTileVectors = 1;

  static Floats load(const float* from) { return _mm256_loadu_ps(from); }
  static Doubles load(const double* from) { return _mm512_loadu_pd(from); }
  static void store(float* to, Floats values) { _mm256_storeu_ps(to, values); }
  static void store(double* to, Doubles values) { _mm512_storeu_pd(to, values); }
  static Doubles all(double value) { return _mm512_set1_pd(value); }
  static Doubles addExactProduct(Doubles sum, Doubles a, Doubles b) {
    return _mm512_fmadd_pd(a, b, sum);
  }
  static Doubles widen(Floats values) { return _mm512_cvtps_pd(values); }
  static Floats narrow(Doubles values) { return _mm512_cvtpd_ps(values); }

  static Doubles multiplySubtract(Doubles a, Doubles b, Doubles c) {
    return _mm512_fmsub_pd(a, b, c);
  }
  static Doubles negateMultiplyAdd(Doubles a, Doubles b, Doubles c) {
    return _mm512_fnmadd_pd(a, b, c);
  }
  static constexpr bool kQuotientIsGeneral = false;
  static Doubles quotient(Doubles grey) { return nearlyGeneralQuotient<Avx512>(grey); }

  static void transpose(const float* from, std::size_t pitch, float (*to)[kUnitLanes]) {
    transposeTile(from, pitch, to);
  }
};

void takePixels(const Window* first, const Window* last, const float* pixels, std::ptrdiff_t centre,
                std::ptrdiff_t row_stride, float* taken) {
  for (; first != last; ++first) {
    const auto wanted = static_cast<__mmask16>(first->wanted);
    const float* const from = pixels + (centre + first->dx + first->dy * row_stride);
    const __m512 greys = _mm512_maskz_loadu_ps(wanted, from);
    _mm512_storeu_ps(taken, _mm512_maskz_compress_ps(wanted, greys));
    taken += __builtin_popcount(first->wanted);
  }
}

void takeBytes(const Window* first, const Window* last, const unsigned char* bytes,
               std::ptrdiff_t centre, std::ptrdiff_t row_stride, float* taken) {
  // 16 pixels in 3 vectors of 16 bytes.
  const __m128i a = _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const __m128i b = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 5, 8, 11, 14, -1, -1, -1, -1, -1);
  const __m128i c = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 4, 7, 10, 13);
  for (; first != last; ++first) {
    const auto wanted = static_cast<__mmask16>(first->wanted);
    const auto* const from = reinterpret_cast<const __m128i*>(
        bytes + (centre + kPixelBytes * std::ptrdiff_t{first->dx} + first->dy * row_stride));
    const __m128i greys = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(from), a),
                                                    _mm_shuffle_epi8(_mm_loadu_si128(from + 1), b)),
                                       _mm_shuffle_epi8(_mm_loadu_si128(from + 2), c));
    const __m512 widened = _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(greys));
    _mm512_storeu_ps(taken, _mm512_maskz_compress_ps(wanted, widened));
    taken += __builtin_popcount(first->wanted);
  }
}

}  // namespace

const Kernels kAvx512Kernels = {"AVX-512",
                                16,
                                takePixels,
                                takeBytes,
                                LaneSums<Avx512>::sumSteps,
                                LaneSums<Avx512>::mapOffsets,
                                LaneRows<Avx512>::formRows,
                                LaneRows<Avx512>::addGram,
                                LaneRows<Avx512>::addMoment,
                                LaneRows<Avx512>::addErrors};

}  // namespace remora::internal
