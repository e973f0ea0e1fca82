#include "follow/model/look.h"

#include <algorithm>
#include <cmath>

#include "follow/base/median.h"

namespace remora {
namespace {

constexpr double kNoTrust = 0.65;
constexpr double kFullTrust = 0.9;
constexpr double kHalfFactor = 0.98;  // what a half says, against the whole
constexpr double kLeastShare = 0.05;  // of a patch's variance: a half with less says little
constexpr double kTiny = 1e-6;
constexpr double kLeastContrast = 2.0;  // grey levels, standard deviation
constexpr double kLeastUsual = 0.3;
constexpr double kUsualOfOne = 0.95;  // where there is no other to compare with

// Sums of a patch's values run side by side, and are added in one order everywhere.
class Lanes {
 public:
  template <class Value>
  static double sum(const Value& value) {
    double lanes[kCount] = {};
    std::size_t i = 0;
    for (; i + kCount <= kPatchSize; i += kCount) {
      for (std::size_t l = 0; l < kCount; ++l) lanes[l] += value(i + l);
    }
    for (std::size_t l = 0; i < kPatchSize; ++i, ++l) lanes[l] += value(i);
    return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) +
           ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
  }

 private:
  static constexpr std::size_t kCount = 8;
};

double product(const Patch& a, const Patch& b) {
  const float* const left = a.data();
  const float* const right = b.data();
  return Lanes::sum(
      [=](std::size_t i) { return static_cast<double>(left[i]) * static_cast<double>(right[i]); });
}

// Half of a patch, with the row or column in its middle.
struct Half {
  int first_row, last_row, first_column, last_column;
};
constexpr int kMiddle = kPatchSide / 2;
constexpr int kEnd = kPatchSide - 1;
constexpr Half kHalves[] = {{0, kMiddle, 0, kEnd},
                            {kMiddle, kEnd, 0, kEnd},
                            {0, kEnd, 0, kMiddle},
                            {0, kEnd, kMiddle, kEnd}};

// The correlation in one half of a normalised patch with a known one.
double correlation(const Patch& known, const Patch& seen, const Half& half) {
  double count = 0.0, sum_k = 0.0, sum_s = 0.0, kk = 0.0, ss = 0.0, ks = 0.0;
  for (int row = half.first_row; row <= half.last_row; ++row) {
    for (int column = half.first_column; column <= half.last_column; ++column) {
      const auto i = static_cast<std::size_t>(row * kPatchSide + column);
      const auto k = static_cast<double>(known[i]);
      const auto s = static_cast<double>(seen[i]);
      count += 1.0;
      sum_k += k;
      sum_s += s;
      kk += k * k;
      ss += s * s;
      ks += k * s;
    }
  }
  const double known_variance = std::max(kk - sum_k * sum_k / count, 0.0) + kLeastShare;
  const double seen_variance = std::max(ss - sum_s * sum_s / count, 0.0) + kTiny;
  return (ks - sum_k * sum_s / count) / std::sqrt(known_variance * seen_variance);
}

double usualOf(const std::vector<Patch>& all) {
  if (all.size() < 2) return kUsualOfOne;
  std::vector<double> best(all.size(), -1.0);
  for (std::size_t a = 0; a < all.size(); ++a) {
    for (std::size_t b = 0; b < all.size(); ++b) {
      if (a != b) best[a] = std::max(best[a], product(all[a], all[b]));
    }
  }
  return std::max(medianOf(std::move(best)), kLeastUsual);
}

}  // namespace

void samplePatch(const float* picture, int width, int height, const Point& at, int step,
                 Patch& samples) {
  samples.resize(kPatchSize);
  const double left = std::floor(std::clamp(at.x, -1e6, 1e6));
  const double top = std::floor(std::clamp(at.y, -1e6, 1e6));
  const auto wx = static_cast<float>(std::clamp(at.x - left, 0.0, 1.0));
  const auto wy = static_cast<float>(std::clamp(at.y - top, 0.0, 1.0));
  const int reach = (kPatchSide / 2) * step;
  const int x = static_cast<int>(left) - reach;
  const int y = static_cast<int>(top) - reach;
  int columns[kPatchSide];
  for (int i = 0; i < kPatchSide; ++i) columns[i] = std::clamp(x + i * step, 0, width - 2);
  float* out = samples.data();
  for (int j = 0; j < kPatchSide; ++j) {
    const int row = std::clamp(y + j * step, 0, height - 2);
    const float* const upper = picture + static_cast<std::ptrdiff_t>(row) * width;
    const float* const lower = upper + width;
    for (const int column : columns) {
      const float above = upper[column] * (1.0F - wx) + upper[column + 1] * wx;
      const float below = lower[column] * (1.0F - wx) + lower[column + 1] * wx;
      *out++ = above * (1.0F - wy) + below * wy;
    }
  }
}

int patchReach(int step) { return (kPatchSide / 2) * step + 1; }

void normalise(Patch& patch) {
  float* const values = patch.data();
  const double mean =
      Lanes::sum([=](std::size_t i) { return static_cast<double>(values[i]); }) / kPatchSize;
  const double squares = Lanes::sum([=](std::size_t i) {
    const double d = static_cast<double>(values[i]) - mean;
    return d * d;
  });
  const double length = std::sqrt(squares + kPatchSize * kLeastContrast * kLeastContrast);
  const double factor = 1.0 / length;
  for (float& value : patch) {
    value = static_cast<float>((static_cast<double>(value) - mean) * factor);
  }
}

double Look::agreement(const Patch& patch) const {
  const double enough = kFullTrust * usual;
  double best = -1.0;
  for (const Patch& known : patches) {
    best = std::max(best, product(known, patch));
    if (best >= enough) break;
  }
  return best / usual;
}

double Look::agreementOfHalf(const Patch& patch) const {
  double best = -1.0;
  for (const Patch& known : patches) {
    for (const Half& half : kHalves) best = std::max(best, correlation(known, patch, half));
    if (kHalfFactor * best >= kFullTrust * usual) break;
  }
  return kHalfFactor * best / usual;
}

bool isFlat(const Look& look) {
  constexpr double kLeastLength = 0.5;  // squared, of a normalised patch: contrast as that of noise
  return std::all_of(look.patches.begin(), look.patches.end(),
                     [](const Patch& patch) { return product(patch, patch) < kLeastLength; });
}

Look makeLook(const std::vector<Patch>& all, std::size_t most) {
  Look look;
  look.usual = usualOf(all);
  std::vector<double> covered(all.size(), -1.0);
  while (look.patches.size() < std::min(most, all.size())) {
    const auto next = static_cast<std::size_t>(std::min_element(covered.begin(), covered.end()) -
                                               covered.begin());
    look.patches.push_back(all[next]);
    for (std::size_t i = 0; i < all.size(); ++i) {
      covered[i] = std::max(covered[i], i == next ? 2.0 : product(all[i], all[next]));
    }
  }
  return look;
}

double trustOf(double agreement) {
  return std::clamp((agreement - kNoTrust) / (kFullTrust - kNoTrust), 0.0, 1.0);
}

}  // namespace remora
