// Tracking, as a verb and as a step of the demonstration.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/footage.h"
#include "options.h"

namespace remora::tools {

struct TrackRequest {
  std::string model;
  Footage footage;
  NumberedFile init;         // shape of the first frame; no name: it is looked for
  NumberedFile corrections;  // positions known in some frames; no name: none
  bool both_ways = false;
  bool smooth = false;
  std::vector<int> steps;  // per stage; empty: the model's
  std::string csv;         // files to write; empty: not asked for
  std::string shapes;
  std::string overlay;  // folder
  // Shows no progress, and keeps nothing of a run that ends early.
  bool one_of_many = false;
};

void track(const TrackRequest& request);

}  // namespace remora::tools
