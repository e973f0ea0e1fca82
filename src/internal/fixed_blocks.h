// Eigen's order of summation follows its block sizes, which it derives from the sizes of the
// processor's caches. With fixed cache sizes results are the same on every processor.
#pragma once

#include <Eigen/Core>

namespace remora::internal {

// To be called before every product, decomposition and solution.
inline void fixBlocks() {
  constexpr std::ptrdiff_t kL1Bytes = 32 << 10;
  constexpr std::ptrdiff_t kL2Bytes = 256 << 10;
  constexpr std::ptrdiff_t kL3Bytes = 2 << 20;
  static const bool fixed = (Eigen::setCpuCacheSizes(kL1Bytes, kL2Bytes, kL3Bytes), true);
  static_cast<void>(fixed);
}

}  // namespace remora::internal
