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
constexpr double kSettled = 0.02;  // all weights are nearly what they were

using Index = Eigen::Index;
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, kPlaneModes + kMostModes,
                             kPlaneModes + kMostModes>;
using Vector = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, kPlaneModes + kMostModes, 1>;

std::size_t at(Index i) { return static_cast<std::size_t>(i); }

// How the points of a plane move by one of these modes; `p` is a place in sizes from the middle.
Point planeMode(std::size_t mode, const Point& p) {
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

}  // namespace

ShapeModel::ShapeModel(Shape mean, std::vector<Shape> modes, std::vector<double> deviations)
    : mean_(std::move(mean)), modes_(std::move(modes)), deviations_(std::move(deviations)) {
  prepare();
}

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
  prepare();
}

void ShapeModel::prepare() {
  const double size = std::max(sizeOf(mean_), 1.0);
  const Point middle = middleOf(mean_);
  unknowns_ = kPlaneModes + modes_.size();
  for (std::size_t m = 0; m < unknowns_; ++m) {
    spreads_.push_back(m < kAffineModes  ? kAffineDeviation * size
                       : m < kPlaneModes ? kPerspectiveDeviation * size
                                         : deviations_[m - kPlaneModes]);
  }
  for (std::size_t p = 0; p < mean_.size(); ++p) {
    const std::size_t first = moves_.size();
    for (std::size_t m = 0; m < unknowns_; ++m) {
      moves_.push_back(m < kPlaneModes ? planeMode(m, (1.0 / size) * (mean_[p] - middle))
                                       : modes_[m - kPlaneModes][p]);
      for (std::size_t k = 0; k <= m; ++k) {
        const Point &a = moves_[first + m], &b = moves_[first + k];
        products_.push_back(a.x * b.x + a.y * b.y);
      }
    }
  }
}

// The normal equations of a fit.
class ShapeModel::Equations {
 public:
  Equations(const ShapeModel& model, double noise) : model_(model), noise_(noise) {}

  void clear() {
    std::fill(normal_, normal_ + pairs(), 0.0);
    std::fill(right_, right_ + model_.unknowns_, 0.0);
  }

  // A point is found so far from its mean place.
  void add(std::size_t p, const Point& departure, double weight) {
    const double* const products = model_.products_.data() + p * pairs();
    for (std::size_t i = 0; i < pairs(); ++i) normal_[i] += weight * products[i];
    const Point by = weight * departure;
    const Point* const moves = model_.moves_.data() + p * model_.unknowns_;
    for (std::size_t m = 0; m < model_.unknowns_; ++m) {
      right_[m] += moves[m].x * by.x + moves[m].y * by.y;
    }
  }

  void solve(Shape& fitted) const {
    const auto n = static_cast<Index>(model_.unknowns_);
    Matrix normal(n, n);
    Vector right(n);
    const double* next = normal_;
    for (Index a = 0; a < n; ++a) {
      for (Index b = 0; b <= a; ++b) normal(a, b) = normal(b, a) = *next++;
      const double spread = model_.spreads_[at(a)];
      normal(a, a) += noise_ * noise_ / (spread * spread);
      right(a) = right_[a];
    }
    const Vector shares = normal.ldlt().solve(right);
    const Point* moves = model_.moves_.data();
    for (std::size_t p = 0; p < fitted.size(); ++p) {
      Point place = model_.mean_[p];
      for (Index m = 0; m < n; ++m) place = place + shares(m) * *moves++;
      fitted[p] = place;
    }
  }

 private:
  static constexpr std::size_t kMost = kPlaneModes + kMostModes;

  std::size_t pairs() const { return model_.unknowns_ * (model_.unknowns_ + 1) / 2; }

  const ShapeModel& model_;
  double noise_;
  double normal_[kMost * (kMost + 1) / 2];
  double right_[kMost];
};

Shape ShapeModel::fit(const Shape& seen, const std::vector<double>& trust, double noise) const {
  Shape fitted;
  fit(seen, trust, noise, fitted);
  return fitted;
}

void ShapeModel::fit(const Shape& seen, const std::vector<double>& trust, double noise,
                     Shape& fitted) const {
  Equations equations(*this, noise);
  fitted.resize(seen.size());
  for (int round = 0; round < kRounds; ++round) {
    double moved = 0.0;  // most of what a weight changed
    equations.clear();
    for (std::size_t p = 0; p < seen.size(); ++p) {
      if (!(trust[p] > 0.0)) continue;
      double share = 1.0;
      if (round > 0) {
        const double tuned = kTuning * noise;
        share = 1.0 / (1.0 + squaredDistance(fitted[p], seen[p]) / (tuned * tuned));
      }
      moved = std::max(moved, 1.0 - share);
      equations.add(p, seen[p] - mean_[p], trust[p] * share);
    }
    if (round > 0 && moved < kSettled) return;
    equations.solve(fitted);
  }
}

}  // namespace remora
