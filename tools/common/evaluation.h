// How far tracks are from known positions.
#pragma once

#include <string>
#include <vector>

#include "common/frame_choice.h"
#include "common/tracks.h"

namespace remora::tools {

// Distances in pixels; quantiles are interpolated between the two nearest ranks.
struct ErrorSummary {
  std::size_t count = 0;
  double mean = 0.0;
  double median = 0.0;
  double p90 = 0.0;
  double p95 = 0.0;
  double p99 = 0.0;
  double worst = 0.0;
  double lost = 0.0;  // share of distances above the limit, 0 ... 1
};

struct Evaluation {
  double lost_limit = 0.0;
  std::size_t frames = 0;
  ErrorSummary all;
  std::vector<ErrorSummary> points;
  std::vector<std::string> names;
};

// truth[0] belongs to frame first_frame. A position that is not a number counts as lost, infinitely
// far away. Fails when a chosen frame of the tracks has no truth, or there is none.
Evaluation evaluate(const Tracks& tracks, const std::vector<Shape>& truth, int first_frame,
                    double lost_limit, const FrameChoice& choice);

std::string formatTable(const Evaluation& evaluation);
// An infinite distance is the text "inf": JSON has no such number.
std::string formatJson(const Evaluation& evaluation);

}  // namespace remora::tools
