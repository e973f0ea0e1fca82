// Shape sequence files: positions of feature points, a shape for every frame.
//
//   S              number of shapes
//   N              number of points of the first shape, then N lines
//   x y
//   ...            the other shapes, each with its N
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/export.h"

namespace remora {

// The shapes of a file. Throws Error, naming file and place, unless it is complete and every shape
// has as many points as the first, at least one. A position may be "nan": not known.
REMORA_FOLLOW_EXPORT std::vector<Shape> readShapes(const std::string& file);

// The text of such a file, positions with six decimals.
REMORA_FOLLOW_EXPORT std::string formatShapes(const std::vector<Shape>& shapes);

// One shape of it, as it stands behind the number of shapes.
REMORA_FOLLOW_EXPORT std::string formatShape(const Shape& shape);

// Throws Error, naming file, shape and point, when a position is not finite.
REMORA_FOLLOW_EXPORT void requireNumbers(const std::vector<Shape>& shapes, const std::string& file);

// Throws Error when shapes that are numbered from first_frame on need frame numbers beyond int.
REMORA_FOLLOW_EXPORT void requireFrameNumbers(int first_frame, std::size_t shapes,
                                              const std::string& file);

}  // namespace remora
