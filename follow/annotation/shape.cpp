#include "follow/annotation/shape.h"

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

}  // namespace remora
