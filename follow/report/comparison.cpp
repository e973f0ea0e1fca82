#include "follow/report/comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "follow/annotation/recording.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

double distance(const TrackedPoint& a, const Point& b) {
  const double length = std::hypot(a.x - b.x, a.y - b.y);
  return std::isnan(length) ? std::numeric_limits<double>::infinity() : length;
}

[[noreturn]] void failToCompare(const Tracks& tracks, const Annotations& truth) {
  if (tracks.frame_numbers.empty() || truth.frames.empty()) throw Error("no frames to evaluate");
  throw Error(format("no frames to evaluate: the tracks have frames %d to %d, the truth %d to %d",
                     tracks.frame_numbers.front(), tracks.frame_numbers.back(),
                     truth.frames.front().number, truth.frames.back().number));
}

void requireHiddenPoints(const Truth& truth, std::size_t points) {
  for (const auto& [frame, point] : truth.hidden) {
    if (point < points) continue;
    throw Error(format("point %zu is hidden in frame %d, there are %zu", point, frame, points));
  }
}

}  // namespace

std::vector<Judged> compare(const Tracks& tracks, Truth truth, double lost_limit,
                            const FrameChoice& choice) {
  takeNames(tracks.names, "the truth", truth.annotations);
  requireHiddenPoints(truth, tracks.names.size());
  for (const AnnotatedFrame& frame : truth.annotations.frames) {
    for (const std::size_t p : frame.hidden) truth.hidden.emplace(frame.number, p);
  }
  std::vector<Judged> positions;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    const int frame = tracks.frame_numbers[i];
    const Shape* const known = findFrame(truth.annotations, "", frame);
    if (known == nullptr || !isChosen(choice, frame)) continue;
    if (std::none_of(known->begin(), known->end(), isSeen)) continue;
    const double close = closeDistance(*known);
    for (std::size_t p = 0; p < known->size(); ++p) {
      if (!isSeen((*known)[p])) continue;
      const TrackedPoint& point = tracks.shapes[i][p];
      const double error = distance(point, (*known)[p]);
      const bool hidden = truth.hidden.count({frame, p}) != 0;
      positions.push_back({i, p, error, point.confidence, point.status != Status::kTracked,
                           !hidden && error <= lost_limit, error <= close});
    }
  }
  if (positions.empty()) failToCompare(tracks, truth.annotations);
  return positions;
}

}  // namespace remora
