// What a training will take, measured before it is done.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/export.h"
#include "follow/training/training.h"

namespace remora {

// What a training will take. Seconds are those of one processor like this one.
struct Forecast {
  std::size_t units = 0;
  double before = 0.0;   // seconds that every process takes before its first unit
  double all = 0.0;      // seconds of all units
  double longest = 0.0;  // seconds of the longest one
  double after = 0.0;    // seconds for putting the model together and trying it
  double shared = 0.0;   // bytes that all processes of a machine share
  double own = 0.0;      // bytes that each takes besides, for its unit

  double unit() const { return all / static_cast<double>(units); }
  double seconds(int jobs) const { return before + (all + after) / jobs; }
  double bytes(int jobs) const { return shared + jobs * own; }
};

// Measures here, by training with few predictors into a folder of temporary files, which takes
// about a tenth of the time of a usual training and less of a larger one. What reading the frames
// took before is left to the caller to add. Throws Error as train() does.
REMORA_FOLLOW_EXPORT Forecast forecast(const std::vector<Example>& examples,
                                       const TrainingOptions& options);

}  // namespace remora
