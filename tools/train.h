// Training, as a verb and as a step of the demonstration.
#pragma once

#include <string>
#include <vector>

#include "common/frame_choice.h"
#include "common/sequences.h"

namespace remora::tools {

struct TrainRequest {
  std::string config;                        // names the sequences where it is not empty
  std::vector<AnnotatedSequence> sequences;  // otherwise
  std::string model;
  FrameChoice frames;
  std::vector<float> radii;  // of the stages, from coarse to fine
  int predictors = 60;
  int generations = 3;
  float scale = 1.0F;
  unsigned seed = 1;
  std::string points;
  bool force = false;  // also where a finished model is
};

void train(const TrainRequest& request);

}  // namespace remora::tools
