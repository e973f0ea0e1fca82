// The smallest box that holds some offsets.
#pragma once

#include <algorithm>
#include <cstddef>

#include "fast_lp.h"

namespace remora::internal {

// offs: `size` pairs (dx, dy). (0, 0) for none.
inline OffsetBox boxOf(const int* offs, std::size_t size) {
  if (size == 0) return {};
  OffsetBox box{offs[0], offs[0], offs[1], offs[1]};
  for (std::size_t k = 1; k < size; ++k) {
    box.min_x = std::min(box.min_x, offs[2 * k]);
    box.max_x = std::max(box.max_x, offs[2 * k]);
    box.min_y = std::min(box.min_y, offs[2 * k + 1]);
    box.max_y = std::max(box.max_y, offs[2 * k + 1]);
  }
  return box;
}

}  // namespace remora::internal
