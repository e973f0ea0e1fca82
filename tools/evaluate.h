// Judging tracks, as a verb and as a step of the demonstration.
#pragma once

#include <string>

namespace remora::tools {

// As the options of remora evaluate; what is empty is not given.
struct EvaluateRequest {
  std::string truth;
  std::string tracks;
  std::string frames;
  std::string hidden;
  std::string report;
  std::string footage;
  std::string trained;
  double lost = 5.0;
  bool json = false;
  bool silent = false;  // but for the report
};

void evaluate(const EvaluateRequest& request);

}  // namespace remora::tools
