// Ridge regression of two targets on feature vectors: knows no image and no predictor.
//
// An example is `features` differences, to which a constant 1 is appended, and a displacement (x,
// y). With L the (features + 1) x n matrix of extended examples and T the 2 x n matrix of
// displacements, the solution is H = T L' (L L' + lambda I)^-1. (Hoerl and Kennard, "Ridge
// regression: biased estimation for nonorthogonal problems", Technometrics 12(1), 1970.)
#pragma once

#include <cstddef>
#include <vector>

namespace remora::internal {

// A 2 x (features + 1) matrix, column by column like Gan_Matrix: row 0 answers x, row 1 answers y,
// the last column is the constant term.
using RidgeMatrix = std::vector<double>;

constexpr std::size_t kTargets = 2;

// L L' and T L', accumulated example by example. The Gram matrix is formed from differences rounded
// to float, with products and sums in double; T L' from the differences as they are.
class NormalEquations {
 public:
  explicit NormalEquations(std::size_t features);

  // differences: examples x features, example-major. displacements: examples x 2.
  void add(const double* differences, const double* displacements, std::size_t examples);

  // Empty when the system cannot be solved or the solution is not finite.
  RidgeMatrix solve() const;

 private:
  std::size_t size_;            // features + 1
  std::vector<double> gram_;    // size_ x size_, upper triangle
  std::vector<double> moment_;  // kTargets x size_, column by column: T L'
  std::vector<double> row_;     // scratch: one extended example, rounded to float
};

// Mean of |prediction - displacement| over the examples, for row 0 (x) or 1 (y).
double meanAbsoluteError(const RidgeMatrix& matrix, std::size_t row, const double* differences,
                         const double* displacements, std::size_t examples);

}  // namespace remora::internal
