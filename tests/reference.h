// A prediction step as plain loops, to hold the library's against.
#pragma once

#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace reference {

struct Entry {
  int dx, dy;
  double intensity, weight;
};

// A coordinate of a point, as a flat LP file holds it.
struct Part {
  int lps = 0;
  std::vector<Entry> entries;
  double bias = 0.0;
};

struct Merged {
  double weight = 0.0, term = 0.0;
};
using Offsets = std::map<std::pair<int, int>, Merged>;  // by dy, then dx

inline Offsets mergedOf(const Part& part) {
  Offsets merged;
  for (const Entry& entry : part.entries) {
    Merged& sums = merged[{entry.dy, entry.dx}];
    sums.weight += entry.weight;
    sums.term += entry.weight * entry.intensity;
  }
  for (auto at = merged.begin(); at != merged.end();) {
    at = std::abs(at->second.weight) > 0.0 ? std::next(at) : merged.erase(at);
  }
  return merged;
}

// The whole pixel of a position; one that fits no int is far outside.
inline long long whole(double position) {
  const bool fits = position > -2147483649.0 && position < 2147483648.0;
  return fits ? static_cast<long long>(position) : -1000000000000LL;
}

// What a coordinate becomes; volatile: no compiler keeps more than a float.
template <class Sample>
double stepped(const Part& part, const Offsets& merged, double old, const Sample& sample) {
  if (part.lps == 0) return old;
  volatile float sum = 0.0F;
  for (const auto& [offset, sums] : merged) {
    const double term = sums.weight * sample(offset.second, offset.first) - sums.term;
    sum = static_cast<float>(static_cast<double>(sum) + term);
  }
  sum = static_cast<float>(static_cast<double>(sum) + part.bias);
  sum = static_cast<float>(static_cast<double>(sum) * (1.0 / part.lps));
  return old - static_cast<double>(sum);
}

// The grey level at a mapped offset from a position, as a sample; 0 outside.
template <class Grey>
double sampled(const Grey& grey, int width, int height, const double* at, const double* h, int dx,
               int dy) {
  const long long x = whole(at[0]) + whole(h[0] * dx + h[1] * dy);
  const long long y = whole(at[1]) + whole(h[3] * dx + h[4] * dy);
  const bool inside = x >= 0 && x < width && y >= 0 && y < height;
  return inside ? static_cast<double>(grey(x, y)) / 255.0 : 0.0;
}

}  // namespace reference
