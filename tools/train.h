// Training, as a verb and as a step of the demonstration.
#pragma once

#include <string>
#include <vector>

namespace remora::tools {

struct TrainRequest {
  std::string config;
  std::vector<std::string> sequences;  // BASE:START:SHAPEFILE
  std::string model;
  std::string frames;  // FIRST-LAST/STEP
  std::string stages = "30,15,8";
  int predictors = 60;
  int generations = 3;
  float scale = 1.0F;
  unsigned seed = 1;
  std::string points;
  bool force = false;  // also where a finished model is
};

void train(const TrainRequest& request);

}  // namespace remora::tools
