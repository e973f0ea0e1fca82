// Shapes that were read, held against the numbers in their file; and released.
#pragma once

#include "fuzz.h"
#include "shape_lp_track.h"

namespace fuzz {

constexpr float kScale = 0.5F;

inline int pointsOf(float* const* shape) {
  int count = 0;
  while (shape[count] != nullptr) ++count;
  return count;
}

// The next points of a file, as many as the shape has.
inline void expectPoints(Numbers& in, float* const* shape) {
  for (; *shape != nullptr; ++shape) {
    for (int axis = 0; axis < 2; ++axis) {
      require(same((*shape)[axis], kScale * in.single()), "a coordinate is the scaled one");
    }
  }
}

inline void release(float** shape) {
  for (float** point = shape; *point != nullptr; ++point) delete[] * point;
  delete[] shape;
}

inline void release(float*** shapes, int count) {
  for (int i = 0; i < count; ++i) release(shapes[i]);
  delete[] shapes;
}

}  // namespace fuzz
