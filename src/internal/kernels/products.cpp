#include "internal/kernels/products.h"

namespace remora::internal {

double innerProduct(const float* a, const float* b, std::size_t size) {
  double sum = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
  }
  return sum;
}

}  // namespace remora::internal
