// What training made of its annotations: how well they were learned, and what looks wrong with
// them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/export.h"

namespace remora {

// An annotation that all others speak against.
struct Disagreement {
  std::string frame;  // the name of its example
  std::size_t point = 0;
  double distance = 0.0;  // from where the model has the point, pixels
  Point place;            // that place
};

// What a model that follows makes of its training frames. A plain one has warnings alone.
struct Review {
  std::vector<double> residuals;  // median distance of each point from its annotations, pixels
  std::vector<std::size_t> hard;  // points that are much harder to tell than the others
  std::vector<Disagreement> disagreements;
  std::vector<std::string> warnings;  // of all annotations and frames, a line each
};

// The review in plain words, a line each. What looks wrong begins with "warning: ".
REMORA_FOLLOW_EXPORT std::vector<std::string> describe(const Review& review,
                                                       const std::vector<std::string>& names);

}  // namespace remora
