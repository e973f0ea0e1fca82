// Small mathematics of the picture: blends and soft edges.
#pragma once

#include <algorithm>
#include <cmath>

namespace remora::tools::scene {

constexpr double kTwoPi = 6.283185307179586;

inline double square(double x) { return x * x; }

inline double length(double x, double y) { return std::sqrt(x * x + y * y); }

inline double mixValues(double a, double b, double weight) { return a + (b - a) * weight; }

// Rises from 0 at `low` to 1 at `high`; falls when low > high.
inline double smoothStep(double low, double high, double x) {
  const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Weight of a thing at this distance from its middle; its edge is soft.
inline double softWeight(double distance, double radius) {
  constexpr double kHalfEdge = 1.2;
  return smoothStep(radius + kHalfEdge, radius - kHalfEdge, distance);
}

}  // namespace remora::tools::scene
