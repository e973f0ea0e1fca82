// AVX2: eight places at a time.
//
// They lie in few rows of the picture, so 16 bytes of each of these rows are taken instead of two
// pixels of two rows for each place: a place's share of a row falls off linearly with its distance.
#include <immintrin.h>

#include "follow/canvas/kernels/kernels.h"

namespace remora {
namespace {

constexpr int kPlaces = 8;
constexpr int kTaken = 16;  // bytes of a row: eight places with what they lie between

constexpr int kCoarser = kPlaceBits - kWeightBits;

std::int32_t lower(std::int32_t a, std::int32_t b) { return a < b ? a : b; }
std::int32_t higher(std::int32_t a, std::int32_t b) { return a < b ? b : a; }

// Which bytes of a row each place lies between: both in the lower halves of 16 bits.
__m256i pairsOf(__m256i columns) {
  const __m256i first = _mm256_or_si256(columns, _mm256_slli_epi32(columns, 16));
  // Column in byte 0, zero in byte 1, column + 1 in byte 2, zero in byte 3.
  return _mm256_add_epi32(first, _mm256_set1_epi32(static_cast<int>(0x80018000U)));
}

void sampleEight(const Run& run, std::int32_t x, std::int32_t y, std::int32_t* greys) {
  const std::int32_t end_x = x + (kPlaces - 1) * run.step_x;
  const std::int32_t end_y = y + (kPlaces - 1) * run.step_y;
  const std::int32_t left = lower(x, end_x) >> kPlaceBits;
  const std::int32_t top = lower(y, end_y) >> kPlaceBits;
  const std::int32_t bottom = (higher(y, end_y) >> kPlaceBits) + 1;

  const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
  const __m256i xs = _mm256_add_epi32(_mm256_mullo_epi32(lanes, _mm256_set1_epi32(run.step_x)),
                                      _mm256_set1_epi32(x));
  const __m256i ys = _mm256_add_epi32(_mm256_mullo_epi32(lanes, _mm256_set1_epi32(run.step_y)),
                                      _mm256_set1_epi32(y));
  const __m256i one = _mm256_set1_epi32(1 << kWeightBits);
  const __m256i columns =
      _mm256_sub_epi32(_mm256_srai_epi32(xs, kPlaceBits), _mm256_set1_epi32(left));
  const __m256i pairs = pairsOf(columns);
  const __m256i right =
      _mm256_and_si256(_mm256_srai_epi32(xs, kCoarser), _mm256_set1_epi32((1 << kWeightBits) - 1));
  const __m256i weights =
      _mm256_or_si256(_mm256_sub_epi32(one, right), _mm256_slli_epi32(right, 16));
  __m256i below = _mm256_sub_epi32(_mm256_srai_epi32(ys, kCoarser),
                                   _mm256_set1_epi32(top * (1 << kWeightBits)));

  const unsigned char* row = run.pixel + top * run.stride + left;
  __m256i sum = _mm256_setzero_si256();
  for (std::int32_t r = top; r <= bottom; ++r, row += run.stride) {
    const __m256i taken =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row)));
    const __m256i along = _mm256_madd_epi16(_mm256_shuffle_epi8(taken, pairs), weights);
    const __m256i share =
        _mm256_max_epi32(_mm256_sub_epi32(one, _mm256_abs_epi32(below)), _mm256_setzero_si256());
    sum = _mm256_add_epi32(sum, _mm256_mullo_epi32(along, share));
    below = _mm256_sub_epi32(below, one);
  }
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(greys), sum);
}

// The last eight end with the last place, so that nothing beyond it is read.
void sample(const Run& run, std::int32_t* greys) {
  if (run.count < kPlaces) return kPlainSampling.sample(run, greys);
  for (int i = 0; i < run.count; i += kPlaces) {
    const int first = i + kPlaces <= run.count ? i : run.count - kPlaces;
    sampleEight(run, run.x + first * run.step_x, run.y + first * run.step_y, greys + first);
  }
}

}  // namespace

const SamplingKernels kAvx2Sampling = {"AVX2", kTaken - 2, sample};

}  // namespace remora
