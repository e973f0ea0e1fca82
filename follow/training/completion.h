// Completion: where the points of a training frame are that its annotation leaves out.
#pragma once

#include <string>
#include <vector>

#include "follow/training/example.h"

namespace remora {

// An example with places for all of its points.
struct TrainingFrame {
  const Example* example = nullptr;
  Shape shape;               // points that are not seen are where the pose of the others puts them
  std::vector<double> seen;  // of each point: 1, or 0

  int width() const { return example->image.width; }
  int height() const { return example->image.height; }
  bool isSeen(std::size_t point) const { return seen[point] > 0.0; }
};

// The examples, which must outlive the result. Throws Error for an example without any seen point,
// and for a point that no example shows; `names` are those of the points.
std::vector<TrainingFrame> complete(const std::vector<Example>& examples,
                                    const std::vector<std::string>& names);

}  // namespace remora
