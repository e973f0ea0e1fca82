#include "follow/annotation/shape.h"

#include <algorithm>
#include <cmath>

namespace remora {

Point middleOf(const Shape& shape) {
  Point sum;
  for (const Point& p : shape) sum = sum + p;
  return (1.0 / static_cast<double>(shape.size())) * sum;
}

double sizeOf(const Shape& shape) {
  const Point middle = middleOf(shape);
  double sum = 0.0;
  for (const Point& p : shape) sum += squaredDistance(p, middle);
  return std::sqrt(sum / static_cast<double>(shape.size()));
}

double closeDistance(const Shape& shape) {
  constexpr double kShare = 0.05;
  constexpr double kSmallest = 10.0;
  Shape known;
  for (const Point& p : shape) {
    if (std::isfinite(p.x) && std::isfinite(p.y)) known.push_back(p);
  }
  return kShare * std::max(sizeOf(known), kSmallest);
}

}  // namespace remora
