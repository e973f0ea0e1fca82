// Plain C++.
#include "follow/canvas/kernels/kernels.h"

namespace remora {
namespace {

constexpr std::int32_t kOne = 1 << kWeightBits;

std::int32_t weightOf(std::int32_t place) {
  return place >> (kPlaceBits - kWeightBits) & (kOne - 1);
}

void sample(const Run& run, std::int32_t* greys) {
  std::int32_t x = run.x;
  std::int32_t y = run.y;
  for (int i = 0; i < run.count; ++i, x += run.step_x, y += run.step_y) {
    const unsigned char* const at = run.pixel + (y >> kPlaceBits) * run.stride + (x >> kPlaceBits);
    const unsigned char* const below = at + run.stride;
    const std::int32_t wx = weightOf(x);
    const std::int32_t wy = weightOf(y);
    const std::int32_t upper = (at[0] << kWeightBits) + (at[1] - at[0]) * wx;
    const std::int32_t lower = (below[0] << kWeightBits) + (below[1] - below[0]) * wx;
    greys[i] = (upper << kWeightBits) + (lower - upper) * wy;
  }
}

}  // namespace

const SamplingKernels kPlainSampling = {"plain", 0, sample};

}  // namespace remora
