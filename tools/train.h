// Training, as a verb and as a step of the demonstration.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/frame_choice.h"
#include "follow/footage/sequences.h"
#include "follow/training/training.h"

namespace remora::tools {

struct TrainRequest {
  std::string config;                        // names the sequences where it is not empty
  std::vector<AnnotatedSequence> sequences;  // otherwise
  std::vector<std::string> annotations;      // tables that name images
  std::string model;
  FrameChoice frames;
  TrainingOptions options;  // but for the points
  std::string points;       // file that lists them; empty: none
};

void train(const TrainRequest& request);

}  // namespace remora::tools
