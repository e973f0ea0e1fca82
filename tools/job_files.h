// Files with which other engines spread a training over processes and machines.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/training/forecast.h"

namespace remora::tools {

enum class Engine { kSlurm, kParallel, kMake };

struct JobRequest {
  Engine engine = Engine::kMake;
  std::string model;                   // the folder
  std::vector<std::string> arguments;  // of `remora train`, but for the folder
  Forecast forecast;
  std::size_t group = 0;  // units a task; 0: so many that a task takes minutes
};

// Writes the files into the folder `plan` of the model, and returns the command that starts the
// work.
std::string writeJob(const JobRequest& request);

}  // namespace remora::tools
