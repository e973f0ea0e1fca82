#include "follow/canvas/brightness.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace remora {
namespace {

constexpr int kRounds = 4;
constexpr double kMostGain = 4.0;
constexpr float kLeastContrast = 0.5F;     // grey levels of median deviation
constexpr double kTolerance = 12.0;        // grey levels at which a pair has half its weight
constexpr double kSettledTolerance = 8.0;  // in the last rounds
constexpr double kAgreed = 0.75;           // mean weight that needs no other start

float medianOf(std::vector<float>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Spread {
  float middle;
  float deviation;
};

Spread spreadOf(const std::vector<float>& list, std::vector<float>& values) {
  values = list;
  const float middle = medianOf(values);
  for (float& value : values) value = std::abs(value - middle);
  return {middle, medianOf(values)};
}

struct Line {
  double gain, offset;

  double weightOf(float seen, float wanted, double tolerance) const {
    const double residual = gain * static_cast<double>(seen) + offset - static_cast<double>(wanted);
    const double ratio = residual / tolerance;
    return 1.0 / (1.0 + ratio * ratio);
  }
};

double limited(double gain) { return std::clamp(gain, 1.0 / kMostGain, kMostGain); }

class BrightnessFit {
 public:
  BrightnessFit(const std::vector<float>& seen, const std::vector<float>& wanted,
                std::vector<float>& scratch)
      : seen_(seen), wanted_(wanted), scratch_(scratch) {}

  Line fit(const Line& before) const {
    Line line = before;
    if (agreement(line) < kAgreed) {
      const Line medians = fromMedians();
      for (const Line& other : {Line{1.0, 0.0}, medians}) {
        if (agreement(other) > agreement(line)) line = other;
      }
    }
    for (int round = 0; round < kRounds; ++round) {
      line = improved(line, 2 * round < kRounds ? kTolerance : kSettledTolerance);
    }
    return line;
  }

 private:
  double agreement(const Line& line) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < seen_.size(); ++i) {
      sum += line.weightOf(seen_[i], wanted_[i], kTolerance);
    }
    return sum / static_cast<double>(seen_.size());
  }

  Line fromMedians() const {
    const Spread from = spreadOf(seen_, scratch_);
    const Spread to = spreadOf(wanted_, scratch_);
    const bool flat = from.deviation < kLeastContrast || to.deviation < kLeastContrast;
    const double gain = flat ? 1.0 : limited(static_cast<double>(to.deviation / from.deviation));
    return {gain, static_cast<double>(to.middle) - gain * static_cast<double>(from.middle)};
  }

  Line improved(const Line& line, double tolerance) const {
    double w = 0.0, v = 0.0, m = 0.0, vv = 0.0, mm = 0.0, vm = 0.0;
    for (std::size_t i = 0; i < seen_.size(); ++i) {
      const double once = line.weightOf(seen_[i], wanted_[i], tolerance);
      const double weight = once * once;
      const auto a = static_cast<double>(seen_[i]);
      const auto b = static_cast<double>(wanted_[i]);
      w += weight;
      v += weight * a;
      m += weight * b;
      vv += weight * a * a;
      mm += weight * b * b;
      vm += weight * a * b;
    }
    const double variance = vv - v * v / w;
    const double target = mm - m * m / w;
    const bool tells =
        vm - v * m / w > 0.0 && variance > w * kLeastVariance && target > w * kLeastVariance;
    // The geometric mean of both regressions: noise on either side does not pull it down.
    const double gain = tells ? limited(std::sqrt(target / variance)) : line.gain;
    return {gain, (m - gain * v) / w};
  }

  static constexpr double kLeastVariance = 1.0;
  const std::vector<float>& seen_;
  const std::vector<float>& wanted_;
  std::vector<float>& scratch_;
};

}  // namespace

Brightness fitBrightness(const std::vector<float>& seen, const std::vector<float>& wanted,
                         const Brightness& before, std::vector<float>& scratch) {
  if (seen.empty()) return before;
  const Line line =
      BrightnessFit(seen, wanted, scratch)
          .fit({static_cast<double>(before.gain), static_cast<double>(before.offset)});
  return {static_cast<float>(line.gain), static_cast<float>(line.offset)};
}

}  // namespace remora
