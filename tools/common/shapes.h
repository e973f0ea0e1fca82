// Positions of feature points, and the files that hold them.
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/shape.h"

namespace remora::tools {

// A shape of the library, an array of points that ends with a null pointer.
Shape toShape(float* const* points);

// The shapes of a shape sequence file. Fails unless it is complete and every shape has as many
// points as the first.
std::vector<Shape> readShapes(const std::string& name);

// Fails, naming file, shape and point, when a position is not a number.
void requireNumbers(const std::vector<Shape>& shapes, const std::string& name);

// Fails when shapes that are numbered from first_frame on need frame numbers beyond int.
void requireFrameNumbers(int first_frame, std::size_t shapes, const std::string& name);

std::string formatShapes(const std::vector<Shape>& shapes);

}  // namespace remora::tools
