// Positions of feature points, and the files that hold them.
#pragma once

#include <string>
#include <vector>

namespace remora::tools {

struct Point {
  double x = 0.0;
  double y = 0.0;
};
using Shape = std::vector<Point>;

// The points of a shape as the library hands it out.
Shape toShape(float* const* points);

// The shapes of a shape sequence file. Fails unless it is complete and every shape has as many
// points as the first.
std::vector<Shape> readShapes(const std::string& name);

// Fails, naming file, shape and point, when a position is not a number.
void requireNumbers(const std::vector<Shape>& shapes, const std::string& name);

// Fails unless the last of so many shapes, the first of which belongs to frame first_frame, belongs
// to a frame that has a number.
void requireFrameNumbers(int first_frame, std::size_t shapes, const std::string& name);

std::string formatShapes(const std::vector<Shape>& shapes);

}  // namespace remora::tools
