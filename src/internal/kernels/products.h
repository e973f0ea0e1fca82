// Inner and outer products of float rows, summed in double.
#pragma once

#include <cstddef>

#include "internal/kernels/rounding.h"

namespace remora::internal {

// Sum of a[i] * b[i] in order of i. Products of floats are exact in double.
double innerProduct(const float* a, const float* b, std::size_t size);

}  // namespace remora::internal
