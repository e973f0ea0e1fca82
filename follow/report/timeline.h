// How tracks went over time, in so few steps that a page can show them however long they are.
#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/report/comparison.h"

namespace remora {

// A figure over time, a value a step; not a number where a step has none.
struct Curve {
  std::vector<double> mean;  // of all points
  std::vector<double> least;
  std::vector<double> most;
  std::vector<std::vector<double>> points;  // the mean of each
};

struct Timeline {
  std::vector<std::pair<int, int>> steps;  // the numbers of the first and the last frame
  Curve motion;                            // pixels a frame
  std::vector<double> occluded;            // share of a step's positions
  std::vector<double> lost;
  std::optional<Curve> confidence;  // none where the tracks know none
  std::optional<Curve> error;       // pixels, of finite errors; none where nothing is judged
};

Timeline timelineOf(const Tracks& tracks, const std::vector<Judged>& judged,
                    std::size_t most_steps);

}  // namespace remora
