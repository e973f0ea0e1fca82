#include "follow/model/shape_model.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace remora {
namespace {

constexpr int kAffineModes = 6;
constexpr int kPlaneModes = kAffineModes + 2;  // and two of perspective
constexpr int kMostModes = 18;
constexpr double kExplained = 0.95;
constexpr double kAffineDeviation = 0.06;  // of the shape's size
constexpr double kPerspectiveDeviation = 0.05;
constexpr int kRounds = 4;
constexpr double kTuning = 2.5;

using Index = Eigen::Index;
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, kPlaneModes + kMostModes,
                             kPlaneModes + kMostModes>;
using Vector = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, kPlaneModes + kMostModes, 1>;

std::size_t at(Index i) { return static_cast<std::size_t>(i); }

// How the points of a plane move by one of these modes; `p` is a place in sizes from the middle.
Point planeMode(Index mode, const Point& p) {
  switch (mode) {
    case 0:
      return {1.0, 0.0};
    case 1:
      return {0.0, 1.0};
    case 2:
      return p;
    case 3:
      return {-p.y, p.x};
    case 4:
      return {p.x, -p.y};
    case 5:
      return {p.y, p.x};
    case 6:
      return {p.x * p.x, p.x * p.y};
    default:
      return {p.x * p.y, p.y * p.y};
  }
}

// One column a shape: its departure from the mean, x and y of each point.
Eigen::MatrixXd departuresOf(const Shape& mean, const std::vector<Shape>& shapes) {
  Eigen::MatrixXd departures(2 * mean.size(), shapes.size());
  for (Index f = 0; f < departures.cols(); ++f) {
    for (std::size_t p = 0; p < mean.size(); ++p) {
      const Point d = shapes[at(f)][p] - mean[p];
      departures(static_cast<Index>(2 * p), f) = d.x;
      departures(static_cast<Index>(2 * p + 1), f) = d.y;
    }
  }
  return departures;
}

// Summed in plain order, unlike a matrix product.
Eigen::MatrixXd gramOf(const Eigen::MatrixXd& columns) {
  Eigen::MatrixXd gram(columns.cols(), columns.cols());
  for (Index a = 0; a < columns.cols(); ++a) {
    for (Index b = 0; b <= a; ++b) {
      double sum = 0.0;
      for (Index k = 0; k < columns.rows(); ++k) sum += columns(k, a) * columns(k, b);
      gram(a, b) = gram(b, a) = sum;
    }
  }
  return gram;
}

// The mixture of the columns as a shape of unit length. Of both signs, the one with which the
// largest share is positive.
Shape mixed(const Eigen::MatrixXd& columns, const Eigen::VectorXd& shares, double length) {
  Index largest = 0;
  shares.cwiseAbs().maxCoeff(&largest);
  const double factor = (shares(largest) < 0.0 ? -1.0 : 1.0) / length;
  Shape mode(at(columns.rows()) / 2);
  for (Index f = 0; f < columns.cols(); ++f) {
    for (std::size_t p = 0; p < mode.size(); ++p) {
      const auto row = static_cast<Index>(2 * p);
      mode[p] = mode[p] + factor * shares(f) * Point{columns(row, f), columns(row + 1, f)};
    }
  }
  return mode;
}

// The normal equations of a fit: every mode of the model at every point.
class Fit {
 public:
  Fit(const ShapeModel& model, double noise) : mean_(model.mean()) {
    const double size = std::max(sizeOf(mean_), 1.0);
    const Point middle = middleOf(mean_);
    unknowns_ = kPlaneModes + static_cast<Index>(model.modes().size());
    for (Index m = 0; m < unknowns_; ++m) {
      for (std::size_t p = 0; p < mean_.size(); ++p) {
        moves_.push_back(m < kPlaneModes ? planeMode(m, (1.0 / size) * (mean_[p] - middle))
                                         : model.modes()[at(m) - kPlaneModes][p]);
      }
      const double deviation = m < kAffineModes  ? kAffineDeviation * size
                               : m < kPlaneModes ? kPerspectiveDeviation * size
                                                 : model.deviations()[at(m) - kPlaneModes];
      ridge_.push_back(noise * noise / (deviation * deviation));
    }
  }

  Shape solve(const Shape& seen, const std::vector<double>& weights) const {
    Matrix normal = Matrix::Zero(unknowns_, unknowns_);
    Vector right = Vector::Zero(unknowns_);
    for (std::size_t p = 0; p < mean_.size(); ++p) {
      if (weights[p] > 0.0) add(p, seen[p] - mean_[p], weights[p], normal, right);
    }
    for (Index a = 0; a < unknowns_; ++a) {
      normal(a, a) += ridge_[at(a)];
      for (Index b = 0; b < a; ++b) normal(b, a) = normal(a, b);
    }
    const Vector shares = normal.ldlt().solve(right);
    Shape fitted = mean_;
    for (Index m = 0; m < unknowns_; ++m) {
      for (std::size_t p = 0; p < mean_.size(); ++p) {
        fitted[p] = fitted[p] + shares(m) * move(m, p);
      }
    }
    return fitted;
  }

 private:
  const Point& move(Index mode, std::size_t p) const { return moves_[at(mode) * mean_.size() + p]; }

  void add(std::size_t p, const Point& d, double weight, Matrix& normal, Vector& right) const {
    for (Index a = 0; a < unknowns_; ++a) {
      const Point ma = weight * move(a, p);
      right(a) += ma.x * d.x + ma.y * d.y;
      for (Index b = 0; b <= a; ++b) {
        const Point& mb = move(b, p);
        normal(a, b) += ma.x * mb.x + ma.y * mb.y;
      }
    }
  }

  const Shape& mean_;
  Index unknowns_ = 0;
  std::vector<Point> moves_;  // of each mode, every point
  std::vector<double> ridge_;
};

}  // namespace

ShapeModel::ShapeModel(Shape mean, std::vector<Shape> modes, std::vector<double> deviations)
    : mean_(std::move(mean)), modes_(std::move(modes)), deviations_(std::move(deviations)) {}

ShapeModel::ShapeModel(const Shape& mean, const std::vector<Shape>& aligned) : mean_(mean) {
  // The eigenvectors of the small Gram matrix give those of the covariance.
  const Eigen::MatrixXd departures = departuresOf(mean, aligned);
  const Eigen::MatrixXd gram = gramOf(departures);
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(gram);
  const double total = gram.trace();
  const Index most = std::min<Index>(gram.rows() / 3, kMostModes);
  double explained = 0.0;
  for (Index k = gram.rows() - 1; k >= gram.rows() - most && explained < kExplained * total; --k) {
    const double value = solver.eigenvalues()(k);
    if (!(value > 1e-6)) break;
    explained += value;
    modes_.push_back(mixed(departures, solver.eigenvectors().col(k), std::sqrt(value)));
    deviations_.push_back(std::sqrt(value / static_cast<double>(aligned.size())));
  }
}

Shape ShapeModel::fit(const Shape& seen, const std::vector<double>& trust, double noise) const {
  const Fit fit(*this, noise);
  std::vector<double> weights = trust;
  Shape fitted;
  for (int round = 0; round < kRounds; ++round) {
    fitted = fit.solve(seen, weights);
    for (std::size_t p = 0; p < seen.size(); ++p) {
      const double ratio =
          squaredDistance(fitted[p], seen[p]) / (kTuning * kTuning * noise * noise);
      weights[p] = trust[p] / (1.0 + ratio);
    }
  }
  return fitted;
}

}  // namespace remora
