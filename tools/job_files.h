// Files with which other engines spread units of work over processes and machines.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/training/forecast.h"

namespace remora::tools {

enum class Engine { kSlurm, kParallel, kMake };

// "slurm", "parallel" or "make".
Engine engineNamed(const std::string& name);

// A call of this program.
struct JobCommand {
  std::string what;                    // it does, in a sentence
  std::vector<std::string> arguments;  // the verb first
  std::string more;                    // in the words of a shell, where $folder is the folder
};

struct JobRequest {
  Engine engine = Engine::kMake;
  std::string folder;  // that all machines share, and where results go
  JobCommand unit;     // does units, whose numbers follow it, as 0-9
  JobCommand join;     // when all units are done
  Forecast forecast;
  std::size_t group = 0;  // units a task; 0: so many that a task takes minutes
};

// Writes the files into the folder `plan` of that folder, and returns the command that starts the
// work.
std::string writeJob(const JobRequest& request);

}  // namespace remora::tools
