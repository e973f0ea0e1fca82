#include "follow/footage/variety.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace remora {
namespace {

constexpr double kFlat = 1.0;  // grey levels; below such a spread there is nothing to be seen
constexpr int kRounds = 20;

}  // namespace

VariedFrames::VariedFrames(std::size_t wanted)
    : wanted_(wanted), most_(std::max(kMostCandidates, 4 * wanted)) {}

void VariedFrames::look(int number, const Image& picture) {
  if (seen_++ % step_ != 0) return;
  candidates_.push_back({number, lookOf(toGrey(picture))});
  if (candidates_.size() >= 2 * most_) thinOut();
}

// Every other candidate stays.
void VariedFrames::thinOut() {
  for (std::size_t i = 1; 2 * i < candidates_.size(); ++i) candidates_[i] = candidates_[2 * i];
  candidates_.resize((candidates_.size() + 1) / 2);
  step_ *= 2;
}

// Mean grey levels of as many rectangles, with mean 0 and spread 1.
VariedFrames::Look VariedFrames::lookOf(const GreyImage& grey) {
  Look look{};
  double sum = 0.0;
  double squares = 0.0;
  for (int row = 0; row < kSide; ++row) {
    for (int column = 0; column < kSide; ++column) {
      const int top = row * grey.height / kSide;
      const int left = column * grey.width / kSide;
      const int bottom = std::max((row + 1) * grey.height / kSide, top + 1);
      const int right = std::max((column + 1) * grey.width / kSide, left + 1);
      long total = 0;
      for (int y = top; y < bottom; ++y) {
        const unsigned char* const line = grey.pixels.data() + static_cast<long>(y) * grey.width;
        for (int x = left; x < right; ++x) total += line[x];
      }
      const long pixels = static_cast<long>(bottom - top) * (right - left);
      const double mean = static_cast<double>(total) / static_cast<double>(pixels);
      look[static_cast<std::size_t>(row * kSide + column)] = static_cast<float>(mean);
      sum += mean;
      squares += mean * mean;
    }
  }
  const double count = kSide * kSide;
  const double mean = sum / count;
  const double spread = std::sqrt(std::max(squares / count - mean * mean, kFlat));
  for (float& value : look) value = static_cast<float>((value - mean) / spread);
  return look;
}

double VariedFrames::distance(const Look& a, const Look& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double difference = static_cast<double>(a[i]) - static_cast<double>(b[i]);
    sum += difference * difference;
  }
  return sum;
}

// For each group the candidate nearest to its middle, after middles have settled among their own.
std::vector<std::size_t> VariedFrames::groupsOf(std::vector<Look> middles) const {
  std::vector<std::size_t> nearest(middles.size());
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::array<double, kSide * kSide>> sums(middles.size());
    std::vector<long> counts(middles.size());
    std::vector<double> least(middles.size(), std::numeric_limits<double>::max());
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      const Look& look = candidates_[c].look;
      std::size_t group = 0;
      double best = std::numeric_limits<double>::max();
      for (std::size_t m = 0; m < middles.size(); ++m) {
        const double far = distance(look, middles[m]);
        if (far < best) {
          best = far;
          group = m;
        }
      }
      for (std::size_t i = 0; i < look.size(); ++i) sums[group][i] += static_cast<double>(look[i]);
      ++counts[group];
      if (best >= least[group]) continue;
      least[group] = best;
      nearest[group] = c;
    }
    for (std::size_t m = 0; m < middles.size(); ++m) {
      if (counts[m] == 0) continue;
      for (std::size_t i = 0; i < middles[m].size(); ++i) {
        middles[m][i] = static_cast<float>(sums[m][i] / static_cast<double>(counts[m]));
      }
    }
  }
  return nearest;
}

std::vector<int> VariedFrames::choose() const {
  std::vector<bool> is_chosen(candidates_.size());
  const std::size_t count = std::min(wanted_, candidates_.size());
  std::vector<Look> middles;
  for (std::size_t m = 0; m < count; ++m) {
    middles.push_back(candidates_[(2 * m + 1) * candidates_.size() / (2 * count)].look);
  }
  std::size_t chosen = 0;
  for (const std::size_t c : groupsOf(std::move(middles))) {
    chosen += is_chosen[c] ? 0 : 1;
    is_chosen[c] = true;
  }
  // Where frames are the same, groups are empty: then those farthest apart in time are added.
  for (std::size_t m = 0; chosen < count; ++m) {
    const std::size_t c = m * candidates_.size() / count % candidates_.size();
    const std::size_t shift = m / count;
    const std::size_t place = (c + shift) % candidates_.size();
    chosen += is_chosen[place] ? 0 : 1;
    is_chosen[place] = true;
  }
  std::vector<int> numbers;
  for (std::size_t c = 0; c < candidates_.size(); ++c) {
    if (is_chosen[c]) numbers.push_back(candidates_[c].number);
  }
  return numbers;
}

}  // namespace remora
