// The loops that cost time, each with its order of rounding fixed: two builds agree bit for bit.
//
// Compiled without contraction of multiply and add; see CMakeLists.txt for the flags this needs.
#pragma once

#include <cfloat>
#include <cstddef>

#ifdef __FAST_MATH__
#error "results must not depend on the compiler's freedom to reorder sums"
#endif

namespace remora::internal {

static_assert(FLT_EVAL_METHOD == 0, "every operation rounds to its own type");

// Sum of weights[k] * samples(k) - terms[k], where every term is a double and the running sum is
// rounded to float after each addition.
template <class Samples>
float weightedSum(const double* weights, const double* terms, int size, Samples samples) {
  float sum = 0.0F;
  for (int k = 0; k < size; ++k) {
    const double term = weights[k] * samples(k) - terms[k];
    sum = static_cast<float>(static_cast<double>(sum) + term);
  }
  return sum;
}

// Sum of a[i] * b[i] in order of i. Products of floats are exact in double.
double innerProduct(const float* a, const float* b, std::size_t size);

// sum[i * size + j] += row[i] * row[j] for all i <= j: the upper triangle of a Gram matrix grows by
// one example. Added example by example, element (i, j) gets the same bits as innerProduct.
void addOuterProduct(const double* row, std::size_t size, double* sum);

}  // namespace remora::internal
