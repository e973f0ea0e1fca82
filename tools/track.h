// Tracking, as a verb and as a step of the demonstration.
#pragma once

#include <string>
#include <vector>

#include "common/sequences.h"
#include "common/tracks.h"
#include "options.h"

namespace remora::tools {

struct TrackRequest {
  std::string model;
  std::vector<Frame> frames;
  NumberedFile init;       // shape to start from; no name: where the model saw the points first
  std::vector<int> steps;  // per stage; empty: the model's
  std::string csv;         // files to write; empty: not asked for
  std::string shapes;
  std::string overlay;  // folder
};

Tracks track(const TrackRequest& request);

}  // namespace remora::tools
