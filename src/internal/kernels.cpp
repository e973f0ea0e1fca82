#include "internal/kernels.h"

namespace remora::internal {

double innerProduct(const float* a, const float* b, std::size_t size) {
  double sum = 0.0;
  for (std::size_t i = 0; i < size; ++i) {
    sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
  }
  return sum;
}

void addOuterProduct(const double* row, std::size_t size, double* sum) {
  for (std::size_t i = 0; i < size; ++i) {
    const double factor = row[i];
    double* const target = sum + i * size;
    for (std::size_t j = i; j < size; ++j) target[j] += factor * row[j];
  }
}

}  // namespace remora::internal
