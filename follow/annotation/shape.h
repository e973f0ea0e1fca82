// Points and shapes.
//
// The one convention of all files and calls: x goes right, y goes down, in pixels; (0, 0) is the
// middle of the top left pixel.
#pragma once

#include <vector>

#include "follow/export.h"

namespace remora {

struct Point {
  double x = 0.0;
  double y = 0.0;
};

inline Point operator+(const Point& a, const Point& b) { return {a.x + b.x, a.y + b.y}; }
inline Point operator-(const Point& a, const Point& b) { return {a.x - b.x, a.y - b.y}; }
inline Point operator*(double factor, const Point& p) { return {factor * p.x, factor * p.y}; }
inline double squaredLength(const Point& p) { return p.x * p.x + p.y * p.y; }
inline double squaredDistance(const Point& a, const Point& b) { return squaredLength(a - b); }

// The feature points of one picture, in the model's order.
using Shape = std::vector<Point>;

// requires: at least one point
REMORA_FOLLOW_EXPORT Point middleOf(const Shape& shape);
// The root mean square distance of the points from their mean. requires: at least one point
REMORA_FOLLOW_EXPORT double sizeOf(const Shape& shape);
// How far off a point may be that is close to where it should be: 5 % of the shape's size, of a
// small one (or a single point) of 10 pixels. By the known points; requires: at least one
REMORA_FOLLOW_EXPORT double closeDistance(const Shape& shape);

}  // namespace remora
