// Affine maps of the plane.
#pragma once

#include <cstddef>

#include "follow/annotation/shape.h"

namespace remora {

// (x, y) -> (xx * x + xy * y + x0, yx * x + yy * y + y0).
struct Affine {
  double xx = 1.0, xy = 0.0, x0 = 0.0;
  double yx = 0.0, yy = 1.0, y0 = 0.0;

  Point operator()(const Point& p) const {
    return {xx * p.x + xy * p.y + x0, yx * p.x + yy * p.y + y0};
  }
  Shape operator()(const Shape& shape) const {
    Shape mapped;
    map(shape, mapped);
    return mapped;
  }
  // Into a shape that is there: `mapped` may be `shape` itself.
  void map(const Shape& shape, Shape& mapped) const {
    mapped.resize(shape.size());
    for (std::size_t p = 0; p < shape.size(); ++p) mapped[p] = (*this)(shape[p]);
  }

  double determinant() const { return xx * yy - xy * yx; }

  // requires: determinant() is not 0
  Affine inverse() const {
    const double d = 1.0 / determinant();
    const Affine linear{yy * d, -xy * d, 0.0, -yx * d, xx * d, 0.0};
    const Point origin = linear({x0, y0});
    return {linear.xx, linear.xy, -origin.x, linear.yx, linear.yy, -origin.y};
  }
};

// First `inner`, then `outer`.
inline Affine operator*(const Affine& outer, const Affine& inner) {
  const Point origin = outer({inner.x0, inner.y0});
  return {outer.xx * inner.xx + outer.xy * inner.yx,
          outer.xx * inner.xy + outer.xy * inner.yy,
          origin.x,
          outer.yx * inner.xx + outer.yy * inner.yx,
          outer.yx * inner.xy + outer.yy * inner.yy,
          origin.y};
}

inline Affine scaling(double factor) { return {factor, 0.0, 0.0, 0.0, factor, 0.0}; }
inline Affine translation(const Point& by) { return {1.0, 0.0, by.x, 0.0, 1.0, by.y}; }

}  // namespace remora
