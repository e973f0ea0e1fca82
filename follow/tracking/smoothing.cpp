#include "follow/tracking/smoothing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace remora {
namespace {

// Frames first ... last of a point in which it is not lost.
struct Stretch {
  std::size_t first, last;
};

bool takesPart(const TrackedPoint& point) {
  return point.status != Status::kLost && std::isfinite(point.x) && std::isfinite(point.y) &&
         !std::isnan(point.confidence);
}

bool follows(const Tracks& tracks, std::size_t frame) {
  return static_cast<long>(tracks.frame_numbers[frame]) - tracks.frame_numbers[frame - 1] == 1;
}

std::vector<Stretch> stretchesOf(const Tracks& tracks, std::size_t point) {
  std::vector<Stretch> stretches;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    if (!takesPart(tracks.shapes[i][point])) continue;
    const bool goes_on =
        i > 0 && !stretches.empty() && stretches.back().last + 1 == i && follows(tracks, i);
    if (goes_on) {
      stretches.back().last = i;
    } else {
      stretches.push_back({i, i});
    }
  }
  return stretches;
}

// Solves (W + strength D'D) z = W y, where D takes second differences, by the factors L D L' of a
// matrix with two bands beside the diagonal.
class Smoother {
 public:
  Smoother(const std::vector<double>& weights, double strength)
      : weights_(weights), size_(weights.size()), diagonal_(size_), next_(size_), second_(size_) {
    std::vector<std::array<double, 3>> bands(size_, {0.0, 0.0, 0.0});
    for (std::size_t i = 0; i < size_; ++i) bands[i][0] = weights[i];
    constexpr std::array<double, 3> kSecond = {1.0, -2.0, 1.0};
    for (std::size_t i = 0; i + 2 < size_; ++i) {
      for (std::size_t a = 0; a < 3; ++a) {
        for (std::size_t b = a; b < 3; ++b) {
          bands[i + a][b - a] += strength * kSecond[a] * kSecond[b];
        }
      }
    }
    for (std::size_t i = 0; i < size_; ++i) factorise(i, bands[i]);
  }

  std::vector<double> solve(std::vector<double> values) const {
    for (std::size_t i = 0; i < size_; ++i) {
      values[i] *= weights_[i];
      if (i > 0) values[i] -= next_[i - 1] * values[i - 1];
      if (i > 1) values[i] -= second_[i - 2] * values[i - 2];
    }
    for (std::size_t i = size_; i-- > 0;) {
      values[i] /= diagonal_[i];
      if (i + 1 < size_) values[i] -= next_[i] * values[i + 1];
      if (i + 2 < size_) values[i] -= second_[i] * values[i + 2];
    }
    return values;
  }

 private:
  void factorise(std::size_t i, const std::array<double, 3>& bands) {
    diagonal_[i] = bands[0];
    double beside = bands[1];
    if (i > 0) {
      diagonal_[i] -= diagonal_[i - 1] * next_[i - 1] * next_[i - 1];
      beside -= diagonal_[i - 1] * next_[i - 1] * second_[i - 1];
    }
    if (i > 1) diagonal_[i] -= diagonal_[i - 2] * second_[i - 2] * second_[i - 2];
    next_[i] = beside / diagonal_[i];
    second_[i] = bands[2] / diagonal_[i];
  }

  const std::vector<double>& weights_;
  std::size_t size_;
  std::vector<double> diagonal_, next_, second_;
};

// The positions of a point in a stretch.
struct Series {
  std::vector<double> weights, x, y;
};

Series seriesOf(const Tracks& tracks, const Stretch& stretch, std::size_t point) {
  constexpr double kLeastWeight = 1e-3;
  Series series;
  for (std::size_t i = stretch.first; i <= stretch.last; ++i) {
    const TrackedPoint& tracked = tracks.shapes[i][point];
    series.weights.push_back(std::max(tracked.confidence, kLeastWeight));
    series.x.push_back(tracked.x);
    series.y.push_back(tracked.y);
  }
  return series;
}

// How badly positions are foretold by the others.
double heldOutError(const Series& series, double strength) {
  constexpr std::size_t kFolds = 5;
  constexpr double kNone = 1e-9;
  double error = 0.0;
  for (std::size_t fold = 0; fold < kFolds; ++fold) {
    std::vector<double> weights = series.weights;
    for (std::size_t i = fold; i < weights.size(); i += kFolds) weights[i] = kNone;
    const Smoother smoother(weights, strength);
    const std::vector<double> x = smoother.solve(series.x);
    const std::vector<double> y = smoother.solve(series.y);
    for (std::size_t i = fold; i < weights.size(); i += kFolds) {
      const double dx = x[i] - series.x[i];
      const double dy = y[i] - series.y[i];
      error += series.weights[i] * (dx * dx + dy * dy);
    }
  }
  return error;
}

double chosenStrength(const Series& series) {
  constexpr double kWeakest = 0.001;
  constexpr double kStrongest = 1e5;
  double best = kWeakest;
  double least = heldOutError(series, best);
  for (double strength = 4.0 * kWeakest; strength < kStrongest; strength *= 4.0) {
    const double error = heldOutError(series, strength);
    if (error >= least) continue;
    least = error;
    best = strength;
  }
  return best;
}

void smoothStretch(const Stretch& stretch, std::size_t point, Tracks& tracks) {
  const Series series = seriesOf(tracks, stretch, point);
  const Smoother smoother(series.weights, chosenStrength(series));
  const std::vector<double> x = smoother.solve(series.x);
  const std::vector<double> y = smoother.solve(series.y);
  for (std::size_t i = stretch.first; i <= stretch.last; ++i) {
    tracks.shapes[i][point].x = x[i - stretch.first];
    tracks.shapes[i][point].y = y[i - stretch.first];
  }
}

}  // namespace

void smooth(Tracks& tracks) {
  constexpr std::size_t kShortest = 10;
  for (std::size_t p = 0; p < tracks.names.size(); ++p) {
    for (const Stretch& stretch : stretchesOf(tracks, p)) {
      if (stretch.last - stretch.first + 1 >= kShortest) smoothStretch(stretch, p, tracks);
    }
  }
}

}  // namespace remora
