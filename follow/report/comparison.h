// Tracked positions beside those that are known, one by one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/report/evaluation.h"

namespace remora {

// A position with all that it is judged by.
struct Judged {
  std::size_t index;  // of the frame in the tracks
  std::size_t point;
  double error;       // pixels; infinite where the tracked position is not a number
  double confidence;  // not a number where the tracks know none
  bool marked;        // as occluded or lost
  bool good;          // not hidden, and no farther off than the limit
  bool close;         // see closeDistance()
};

// All positions of chosen frames that both have, by frame and point. Throws Error where there are
// none, and for points of the truth that the tracks lack.
std::vector<Judged> compare(const Tracks& tracks, Truth truth, double lost_limit,
                            const FrameChoice& choice);

// What evaluate() says of these positions; at least one. `names` are those of the tracks' points.
Evaluation evaluationOf(const std::vector<Judged>& positions, const std::vector<std::string>& names,
                        double lost_limit);

}  // namespace remora
