#include "follow/canvas/pose.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace remora {
namespace {

constexpr std::size_t kMostPairs = 150;
constexpr double kStandsOut = 4.0;        // residual, in medians of them
constexpr double kFarOff = 0.1;           // residual, of the shape's size
constexpr int kRounds = 4;                // of reweighting
constexpr double kDeparture = 0.5;        // ridge, in mean square extents
constexpr double kMadToSigma = 1.4826;    // of a normal distribution
constexpr double kResidualFloor = 0.004;  // of the shape's size: points are never known better
constexpr double kLeastVariance = 1e-12;  // where all points lie in one place
constexpr double kTuning = 2.5;           // deviations at which a point has half its weight

struct Moments {
  double weight = 0.0;
  Point from, to;       // weighted means
  double spread = 0.0;  // of `from`: weighted sum of squares about its mean
};

Moments momentsOf(const Shape& from, const Shape& to, const std::vector<double>& weights) {
  Moments m;
  for (std::size_t i = 0; i < from.size(); ++i) {
    m.weight += weights[i];
    m.from = m.from + weights[i] * from[i];
    m.to = m.to + weights[i] * to[i];
  }
  if (m.weight <= 0.0) return m;
  m.from = (1.0 / m.weight) * m.from;
  m.to = (1.0 / m.weight) * m.to;
  for (std::size_t i = 0; i < from.size(); ++i) {
    m.spread += weights[i] * squaredDistance(from[i], m.from);
  }
  return m;
}

// The similarity with this linear part that maps one point to another.
Affine similarityThrough(double a, double b, const Point& from, const Point& to) {
  const Affine linear{a, -b, 0.0, b, a, 0.0};
  const Point at = linear(from);
  return {a, -b, to.x - at.x, b, a, to.y - at.y};
}

double medianOf(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

class RobustFit {
 public:
  RobustFit(const Shape& from, const Shape& to, const std::vector<double>& weights,
            const Affine& usual, PoseFit& room)
      : from_(from),
        to_(to),
        weights_(weights),
        usual_(usual),
        current_(room.current_),
        used_(room.used_),
        residuals_(room.residuals_) {
    room.reserve(from.size());
    current_ = weights;
    used_.clear();
    for (std::size_t i = 0; i < from.size(); ++i) {
      if (weights[i] > 0.0) used_.push_back(i);
    }
    const Moments m = momentsOf(from, to, weights);
    extent_ = m.weight > 0.0 ? m.spread / m.weight : 0.0;
  }

  Affine pose() {
    Affine map = used_.size() >= 4 ? bestOverPairs() : fitSimilarity(from_, to_, weights_, usual_);
    for (int round = 0; round < kRounds; ++round) {
      reweight(map);
      map = round + 1 < kRounds ? fitSimilarity(from_, to_, current_, usual_) : bend(map);
    }
    return map;
  }

 private:
  double squaredResidual(const Affine& map, std::size_t i) const {
    return squaredDistance(map(from_[i]), to_[i]);
  }

  double medianResidual(const Affine& map) {
    residuals_.clear();
    for (const std::size_t i : used_) residuals_.push_back(squaredResidual(map, i));
    return medianOf(residuals_);
  }

  // Whether the median residual is below a limit; much cheaper than the median itself.
  bool isBelow(const Affine& map, double limit) const {
    const std::size_t n = used_.size();
    std::size_t below = 0;
    for (std::size_t i = 0; i < n && below <= n / 2 && below + (n - i) > n / 2; ++i) {
      below += squaredResidual(map, used_[i]) < limit ? 1 : 0;
    }
    return below > n / 2;
  }

  // Whether some residual is large, or beside the median.
  bool anyStandsOut(const Affine& map, double median) const {
    const double size2 = extent_ * std::abs(map.determinant());
    const double usual = median + kResidualFloor * kResidualFloor * size2;
    const double limit = std::min(kStandsOut * kStandsOut * usual, kFarOff * kFarOff * size2);
    return std::any_of(used_.begin(), used_.end(),
                       [&](std::size_t i) { return !(squaredResidual(map, i) <= limit); });
  }

  // Partners lie half the list away first: points far apart fix a similarity better.
  Affine bestOverPairs() {
    Affine best = fitSimilarity(from_, to_, weights_, usual_);
    double least = medianResidual(best);
    if (!anyStandsOut(best, least)) return best;
    const std::size_t n = used_.size();
    std::size_t pairs = 0;
    for (std::size_t step = n / 2; step >= 1 && pairs < kMostPairs; --step) {
      for (std::size_t i = 0; i < n && pairs < kMostPairs; ++i, ++pairs) {
        const std::size_t j = (i + step) % n;
        Affine map;
        if (!throughPair(used_[i], used_[j], map) || !isBelow(map, least)) continue;
        least = medianResidual(map);
        best = map;
      }
    }
    return best;
  }

  bool throughPair(std::size_t i, std::size_t j, Affine& map) const {
    const Point f = from_[j] - from_[i];
    const Point t = to_[j] - to_[i];
    const double length = squaredLength(f);
    if (!(length > 0.1 * extent_)) return false;
    const double a = (f.x * t.x + f.y * t.y) / length;
    const double b = (f.x * t.y - f.y * t.x) / length;
    map = similarityThrough(a, b, 0.5 * (from_[i] + from_[j]), 0.5 * (to_[i] + to_[j]));
    return true;
  }

  void reweight(const Affine& map) {
    const double scale = std::abs(map.determinant());
    const double floor = kResidualFloor * kResidualFloor * extent_ * scale;
    const double sigma2 =
        std::max(kMadToSigma * kMadToSigma * medianResidual(map) + floor, kLeastVariance);
    for (const std::size_t i : used_) {
      const double ratio = squaredResidual(map, i) / (kTuning * kTuning * sigma2);
      current_[i] = weights_[i] / (1.0 + ratio * ratio);
    }
  }

  // Adds the ridge-regressed departure from a similarity.
  Affine bend(const Affine& similarity) const {
    const Affine map = fitSimilarity(from_, to_, current_, usual_);
    const Moments m = momentsOf(from_, to_, current_);
    if (used_.size() < 3 || !(m.spread > 1e-12)) return similarity;
    const double ridge = kDeparture * m.spread;
    double sxx = ridge, sxy = 0.0, syy = ridge;
    double rxx = 0.0, rxy = 0.0, ryx = 0.0, ryy = 0.0;
    for (const std::size_t i : used_) {
      const Point f = from_[i] - m.from;
      const Point r = to_[i] - map(from_[i]);
      const double w = current_[i];
      sxx += w * f.x * f.x;
      sxy += w * f.x * f.y;
      syy += w * f.y * f.y;
      rxx += w * r.x * f.x;
      rxy += w * r.x * f.y;
      ryx += w * r.y * f.x;
      ryy += w * r.y * f.y;
    }
    const double d = 1.0 / (sxx * syy - sxy * sxy);
    Affine bent = map;
    bent.xx += (rxx * syy - rxy * sxy) * d;
    bent.xy += (rxy * sxx - rxx * sxy) * d;
    bent.yx += (ryx * syy - ryy * sxy) * d;
    bent.yy += (ryy * sxx - ryx * sxy) * d;
    bent.x0 = m.to.x - bent.xx * m.from.x - bent.xy * m.from.y;
    bent.y0 = m.to.y - bent.yx * m.from.x - bent.yy * m.from.y;
    return bent;
  }

  const Shape& from_;
  const Shape& to_;
  const std::vector<double>& weights_;
  const Affine& usual_;
  std::vector<double>& current_;
  std::vector<std::size_t>& used_;
  std::vector<double>& residuals_;
  double extent_ = 0.0;
};

Affine fitSimilarity(const Shape& from, const Shape& to, const std::vector<double>& weights,
                     const Affine& usual) {
  const Moments m = momentsOf(from, to, weights);
  double a = 0.0;
  double b = 0.0;
  for (std::size_t i = 0; i < from.size(); ++i) {
    const Point f = from[i] - m.from;
    const Point t = to[i] - m.to;
    a += weights[i] * (f.x * t.x + f.y * t.y);
    b += weights[i] * (f.x * t.y - f.y * t.x);
  }
  if (!(m.spread > 1e-12 && a * a + b * b > 1e-12 * m.spread * m.spread)) {
    const Point at = usual(m.from);
    return translation(m.to - at) * usual;
  }
  return similarityThrough(a / m.spread, b / m.spread, m.from, m.to);
}

Affine fitPose(const Shape& mean, const Shape& seen, const std::vector<double>& weights,
               const Affine& usual) {
  return PoseFit()(mean, seen, weights, usual);
}

void PoseFit::reserve(std::size_t points) {
  current_.reserve(points);
  used_.reserve(points);
  residuals_.reserve(points);
}

Affine PoseFit::operator()(const Shape& mean, const Shape& seen, const std::vector<double>& weights,
                           const Affine& usual) {
  return RobustFit(mean, seen, weights, usual, *this).pose();
}

}  // namespace remora
