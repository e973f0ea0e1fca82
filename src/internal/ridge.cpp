#include "internal/ridge.h"

#include <Eigen/Cholesky>
#include <cmath>
#include <limits>

#include "internal/kernels.h"

namespace remora::internal {
namespace {

using Eigen::Index;

constexpr double kRidge = 1e-7;

constexpr std::ptrdiff_t kL1Bytes = 32 << 10;  // as if every machine were this one
constexpr std::ptrdiff_t kL2Bytes = 256 << 10;
constexpr std::ptrdiff_t kL3Bytes = 2 << 20;

static_assert(std::numeric_limits<float>::is_iec559, "too large a value rounds to infinity");

double rounded(double value) { return static_cast<double>(static_cast<float>(value)); }

}  // namespace

NormalEquations::NormalEquations(std::size_t features)
    : size_(features + 1),
      gram_(size_ * size_, 0.0),
      moment_(kTargets * size_, 0.0),
      row_(size_, 1.0) {}

void NormalEquations::add(const double* differences, const double* displacements,
                          std::size_t examples) {
  const std::size_t features = size_ - 1;
  for (std::size_t e = 0; e < examples; ++e) {
    const double* const example = differences + e * features;
    const double* const target = displacements + e * kTargets;
    for (std::size_t k = 0; k < features; ++k) {
      row_[k] = rounded(example[k]);
      for (std::size_t r = 0; r < kTargets; ++r)
        moment_[k * kTargets + r] += target[r] * example[k];
    }
    for (std::size_t r = 0; r < kTargets; ++r) moment_[features * kTargets + r] += target[r];
    addOuterProduct(row_.data(), size_, gram_.data());
  }
}

RidgeMatrix NormalEquations::solve() const {
  // Eigen's block sizes follow the caches of the machine, and the order of its sums follows them.
  Eigen::setCpuCacheSizes(kL1Bytes, kL2Bytes, kL3Bytes);
  const auto size = static_cast<Index>(size_);
  // The upper triangle, row by row, is the lower one, column by column.
  Eigen::MatrixXd regularised = Eigen::Map<const Eigen::MatrixXd>(gram_.data(), size, size);
  regularised.diagonal().array() += kRidge;
  const Eigen::LLT<Eigen::MatrixXd, Eigen::Lower> cholesky(regularised);
  if (cholesky.info() != Eigen::Success) return {};

  constexpr auto kRows = static_cast<Index>(kTargets);
  const Eigen::Map<const Eigen::MatrixXd> moment(moment_.data(), kRows, size);
  const Eigen::MatrixXd solution = cholesky.solve(moment.transpose()).transpose();
  if (!solution.allFinite()) return {};
  return {solution.data(), solution.data() + solution.size()};
}

double meanAbsoluteError(const RidgeMatrix& matrix, std::size_t row, const double* differences,
                         const double* displacements, std::size_t examples) {
  const std::size_t features = matrix.size() / kTargets - 1;
  double total = 0.0;
  for (std::size_t e = 0; e < examples; ++e) {
    const double* const example = differences + e * features;
    double prediction = 0.0;
    for (std::size_t k = 0; k < features; ++k) {
      prediction += matrix[k * kTargets + row] * example[k];
    }
    prediction += matrix[features * kTargets + row];
    total += std::abs(prediction - displacements[e * kTargets + row]);
  }
  return total / static_cast<double>(examples);
}

}  // namespace remora::internal
