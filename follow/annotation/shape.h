// Points and shapes.
//
// The one convention of all files and calls: x goes right, y goes down, in pixels; (0, 0) is the
// middle of the top left pixel.
#pragma once

#include <vector>

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

}  // namespace remora
