#include "internal/ridge.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <limits>

#include "internal/fixed_blocks.h"

namespace remora::internal {
namespace {

using Eigen::Index;
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Strided = Eigen::Map<const RowMajor, 0, Eigen::OuterStride<>>;

constexpr double kRidge = 1e-7;
constexpr std::size_t kRowsAtATime = 96;  // rounded, they stay in the L1 cache

static_assert(std::numeric_limits<float>::is_iec559, "too large a value rounds to infinity");

}  // namespace

NormalEquations::NormalEquations(std::size_t features)
    : features_(features),
      pitch_(wholeUnits(features)),
      gram_(pitch_ * pitch_, 0.0),
      moment_(kTargets * pitch_, 0.0),
      rounded_(kRowsAtATime * pitch_) {}

void NormalEquations::add(const double* rows, const double* displacements, std::size_t examples) {
  for (std::size_t done = 0; done < examples; done += kRowsAtATime) {
    const std::size_t count = std::min(kRowsAtATime, examples - done);
    const double* const block = rows + done * pitch_;
    kernels().addGram(block, count, pitch_, rounded_.data(), gram_.data());
    kernels().addMoment(block, displacements + done * kTargets, count, pitch_, moment_.data());
  }
}

RidgeMatrix NormalEquations::solve() const {
  fixBlocks();
  const auto size = static_cast<Index>(features_);
  const Eigen::OuterStride<> stride(static_cast<Index>(pitch_));
  const Strided gram(gram_.data(), size, size, stride);
  Eigen::MatrixXd regularised = gram.transpose();  // whose lower triangle is filled
  regularised.diagonal().array() += kRidge;
  const Eigen::LLT<Eigen::MatrixXd, Eigen::Lower> cholesky(regularised);
  if (cholesky.info() != Eigen::Success) return {};

  const Eigen::MatrixXd moment =
      Strided(moment_.data(), static_cast<Index>(kTargets), size, stride);
  const Eigen::MatrixXd solution = cholesky.solve(moment.transpose()).transpose();
  if (!solution.allFinite()) return {};
  return {solution.data(), solution.data() + solution.size()};
}

MeanAbsoluteError::MeanAbsoluteError(const RidgeMatrix& matrix, std::size_t target)
    : target_(target), coefficients_(wholeUnits(matrix.size() / kTargets), 0.0) {
  for (std::size_t k = 0; k < matrix.size() / kTargets; ++k) {
    coefficients_[k] = matrix[k * kTargets + target];
  }
}

void MeanAbsoluteError::add(const double* rows, const double* displacements, std::size_t examples) {
  kernels().addErrors(rows, coefficients_.data(), displacements + target_, examples,
                      coefficients_.size(), &total_);
  examples_ += examples;
}

}  // namespace remora::internal
