// What a training was asked for, and whether it has been done already.
#pragma once

#include <string>
#include <vector>

#include "follow/training/training.h"

namespace remora {

struct Request {
  TrainingOptions options;  // completed
  std::string mark;
};

// Throws Error for what cannot be trained, as train() tells.
Request checked(const std::vector<Example>& examples, const TrainingOptions& options);

// True where the folder holds the finished model of this very training. Throws HoldsOtherModel for
// that of another one, unless it may be replaced.
bool isFinished(const std::string& folder, const Request& request);

std::vector<std::string> namesOf(const TrainingOptions& options);

}  // namespace remora
