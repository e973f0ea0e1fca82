// Suspicions: what looks wrong with annotations and frames as a whole, or too little to learn from.
// They see no picture, only what is known of each frame.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "follow/model/description.h"
#include "follow/training/completion.h"
#include "follow/training/training.h"

namespace remora {

// How far the model's places are from the annotations of a training frame.
struct FrameReading {
  static constexpr double kUnknown = std::numeric_limits<double>::infinity();

  std::string frame;         // the name of its example
  Point offset;              // median of the points, from annotation to place; pixels
  double distance = 0.0;     // the same without direction
  double before = kUnknown;  // the distance where the frame before is looked at instead
  double after = kUnknown;   // and the one behind it
};

// Faults that many annotations share: counted from 1, or belonging to the next frame. A line each.
std::vector<std::string> sharedFaults(const std::vector<FrameReading>& readings);

// Too few frames, frames that are alike, points without contrast, radii that reach beyond pictures.
// A line each.
std::vector<std::string> poorMaterial(const std::vector<TrainingFrame>& frames,
                                      const TrainingOptions& options,
                                      const ModelDescription& model);

}  // namespace remora
