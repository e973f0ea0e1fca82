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

std::string formatShapes(const std::vector<Shape>& shapes);

// FILE or FILE:K, where K is a number that belongs to the file.
struct NumberedFile {
  std::string name;
  int number = 0;
};
NumberedFile parseNumberedFile(const std::string& text);

}  // namespace remora::tools
