// Nested arrays of positions, as the shape readers hand them out: made and released here.
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

namespace remora::internal {

using Point = std::array<float, 2>;

// Releases a null-terminated array of points and every point in it.
inline void releaseShape(float** shape) {
  if (shape == nullptr) return;
  for (float** point = shape; *point != nullptr; ++point) delete[] * point;
  delete[] shape;
}

// Releases `count` shapes and their array.
inline void releaseShapes(float*** shapes, int count) {
  if (shapes == nullptr) return;
  for (int i = 0; i < count; ++i) releaseShape(shapes[i]);
  delete[] shapes;
}

inline int countPoints(float* const* shape) {
  int count = 0;
  while (shape[count] != nullptr) ++count;
  return count;
}

struct ShapeReleaser {
  void operator()(float** shape) const { releaseShape(shape); }
};
using Shape = std::unique_ptr<float*, ShapeReleaser>;

// [point] -> (x, y), with a null entry behind the last point.
inline Shape newShape(const std::vector<Point>& points) {
  Shape shape(new float*[points.size() + 1]());
  for (std::size_t i = 0; i < points.size(); ++i) {
    shape.get()[i] = new float[2]{points[i][0], points[i][1]};
  }
  return shape;
}

// [shape][point] -> (x, y). Takes the shapes over.
inline float*** newShapes(std::vector<Shape>& shapes) {
  auto array = std::make_unique<float**[]>(shapes.size());
  for (std::size_t i = 0; i < shapes.size(); ++i) array[i] = shapes[i].release();
  return array.release();
}

// What a shape sequence file holds.
struct ShapeSequence {
  std::vector<Shape> shapes;
  int num_points = 0;    // of the last shape
  bool complete = true;  // false when a fault was reported
};

// Reads a shape sequence from an open file. A fault is reported and ends it after its last complete
// shape; shapes that differ in their number of points are reported.
ShapeSequence readShapeSequence(std::FILE* file, const char* fname, float scale);

}  // namespace remora::internal
