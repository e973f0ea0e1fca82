// Ridge regression of two targets on feature vectors: knows no image and no predictor.
//
// An example is a row of features, the last one a constant 1, and a displacement (x, y). With L the
// features x n matrix of the rows and T the 2 x n matrix of displacements, the solution is
// H = T L' (L L' + lambda I)^-1. (Hoerl and Kennard, "Ridge regression: biased estimation for
// nonorthogonal problems", Technometrics 12(1), 1970.)
#pragma once

#include <cstddef>
#include <vector>

#include "internal/kernels/kernels.h"

namespace remora::internal {

// A 2 x features matrix, column by column like Gan_Matrix: row 0 answers x, row 1 answers y.
using RidgeMatrix = std::vector<double>;

constexpr std::size_t kTargets = 2;

// L L' and T L', accumulated example by example. The Gram matrix is formed from features rounded to
// float, with products and sums in double; T L' from the features as they are. Rows are
// wholeUnits(features) long, zeros after the features; displacements are examples x 2.
class NormalEquations {
 public:
  explicit NormalEquations(std::size_t features);

  void add(const double* rows, const double* displacements, std::size_t examples);

  // Empty when the system cannot be solved or the solution is not finite.
  RidgeMatrix solve() const;

 private:
  std::size_t features_;
  std::size_t pitch_;
  std::vector<double> gram_;     // pitch_ x pitch_, upper triangle
  std::vector<double> moment_;   // kTargets x pitch_, row by row: T L'
  std::vector<double> rounded_;  // scratch
};

// Mean of |prediction - displacement| over examples added to it, for one row of the matrix: 0 for
// x, 1 for y.
class MeanAbsoluteError {
 public:
  MeanAbsoluteError(const RidgeMatrix& matrix, std::size_t target);

  void add(const double* rows, const double* displacements, std::size_t examples);
  // requires: an example
  double mean() const { return total_ / static_cast<double>(examples_); }

 private:
  std::size_t target_;
  std::vector<double> coefficients_;
  double total_ = 0.0;
  std::size_t examples_ = 0;
};

}  // namespace remora::internal
