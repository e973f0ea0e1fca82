// How far tracks are from known positions, and how well they tell which points to trust.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/frame_choice.h"

namespace remora {

// Positions known for some frames of a sequence, and for some points in each.
struct Truth {
  Annotations annotations;
  std::set<std::pair<int, std::size_t>> hidden;  // frame and point that something covers
};

// Reads a file with a line for each frame from first_frame on: the indices of its hidden points,
// none in an empty line. Throws Error, naming file and line.
REMORA_FOLLOW_EXPORT std::set<std::pair<int, std::size_t>> readHidden(const std::string& file,
                                                                      int first_frame);

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

// A bin of the reliability table: what confidence said, and what came of it.
struct Reliability {
  std::size_t count = 0;
  double confidence = 0.0;  // mean
  double close = 0.0;       // share within 5 % of the shape's size
};

// How far confidence and status can be believed. A position is good when its point is not hidden
// and no farther off than the limit, and marked when its status is not "tracked".
struct Separation {
  // Area under the receiver operating characteristic: how often a good position has more confidence
  // than one that is not (T. Fawcett, "An introduction to ROC analysis", 2006). Not a number where
  // all are good or none is.
  double roc_area = 0.0;
  std::size_t good = 0;
  std::size_t not_good = 0;
  double marked_not_good = 0.0;          // share of those not good; not a number without any
  double marked_good = 0.0;              // share of the good ones
  std::optional<ErrorSummary> tracked;   // errors of what is not marked; none when all is
  std::vector<Reliability> reliability;  // in bins of a tenth, from 0 on
};

struct Evaluation {
  double lost_limit = 0.0;
  std::size_t frames = 0;
  ErrorSummary all;
  std::vector<ErrorSummary> points;
  std::vector<std::string> names;
  std::optional<Separation> separation;  // none where the tracks know no confidence
};

// Judges the frames and points that both have; points belong together by their names, or by their
// order where one of both has no names. A tracked position that is not a number counts as lost,
// infinitely far away. Throws Error when no chosen frame is in both, and for points of the truth
// that the tracks lack.
REMORA_FOLLOW_EXPORT Evaluation evaluate(const Tracks& tracks, Truth truth, double lost_limit,
                                         const FrameChoice& choice);

REMORA_FOLLOW_EXPORT std::string formatTable(const Evaluation& evaluation);
// An infinite distance is the text "inf": JSON has no such number.
REMORA_FOLLOW_EXPORT std::string formatJson(const Evaluation& evaluation);

}  // namespace remora
