// Eigen sums in an order that depends on the sizes of its blocks, and these on the processor's
// caches, unless it is told what to take them for.
#pragma once

#include <Eigen/Core>

namespace remora::internal {

// Comes before every product, decomposition and solution: whichever is the first one in a process.
inline void fixBlocks() {
  constexpr std::ptrdiff_t kL1Bytes = 32 << 10;
  constexpr std::ptrdiff_t kL2Bytes = 256 << 10;
  constexpr std::ptrdiff_t kL3Bytes = 2 << 20;
  static const bool fixed = (Eigen::setCpuCacheSizes(kL1Bytes, kL2Bytes, kL3Bytes), true);
  static_cast<void>(fixed);
}

}  // namespace remora::internal
