#include "follow/report/timeline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace remora {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Gathers values of points in steps.
class Gathering {
 public:
  Gathering(std::size_t steps, std::size_t points)
      : sums_(points, std::vector<double>(steps)),
        counts_(points, std::vector<double>(steps)),
        least_(steps, kNone),
        most_(steps, kNone) {}

  // What is no finite number is left out.
  void add(std::size_t step, std::size_t point, double value) {
    if (!std::isfinite(value)) return;
    sums_[point][step] += value;
    counts_[point][step] += 1.0;
    least_[step] = std::fmin(least_[step], value);
    most_[step] = std::fmax(most_[step], value);
  }

  Curve curve() const {
    Curve curve{{}, least_, most_, {}};
    std::vector<double> sums(least_.size());
    std::vector<double> counts(least_.size());
    for (std::size_t p = 0; p < sums_.size(); ++p) {
      for (std::size_t k = 0; k < sums.size(); ++k) {
        sums[k] += sums_[p][k];
        counts[k] += counts_[p][k];
      }
      curve.points.push_back(quotients(sums_[p], counts_[p]));
    }
    curve.mean = quotients(sums, counts);
    return curve;
  }

 private:
  static std::vector<double> quotients(const std::vector<double>& sums,
                                       const std::vector<double>& counts) {
    std::vector<double> means;
    for (std::size_t k = 0; k < sums.size(); ++k) {
      means.push_back(counts[k] > 0.0 ? sums[k] / counts[k] : kNone);
    }
    return means;
  }

  std::vector<std::vector<double>> sums_;
  std::vector<std::vector<double>> counts_;
  std::vector<double> least_;
  std::vector<double> most_;
};

// Pixels a frame since the frame before.
double motionOf(const Tracks& tracks, std::size_t frame, std::size_t point) {
  if (frame == 0) return kNone;
  const TrackedPoint& from = tracks.shapes[frame - 1][point];
  const TrackedPoint& to = tracks.shapes[frame][point];
  const double frames = tracks.frame_numbers[frame] - tracks.frame_numbers[frame - 1];
  return std::hypot(to.x - from.x, to.y - from.y) / frames;
}

}  // namespace

Timeline timelineOf(const Tracks& tracks, const std::vector<Judged>& judged,
                    std::size_t most_steps) {
  const std::size_t frames = tracks.shapes.size();
  const std::size_t points = tracks.names.size();
  const std::size_t width = std::max<std::size_t>((frames + most_steps - 1) / most_steps, 1);
  const std::size_t steps = (frames + width - 1) / width;
  Timeline timeline;
  for (std::size_t k = 0; k < steps; ++k) {
    const std::size_t last = std::min((k + 1) * width, frames) - 1;
    timeline.steps.emplace_back(tracks.frame_numbers[k * width], tracks.frame_numbers[last]);
  }
  Gathering motion(steps, points);
  Gathering occluded(steps, points);
  Gathering lost(steps, points);
  Gathering confidence(steps, points);
  Gathering error(steps, points);
  bool has_confidence = false;
  for (std::size_t i = 0; i < frames; ++i) {
    for (std::size_t p = 0; p < points; ++p) {
      const TrackedPoint& point = tracks.shapes[i][p];
      has_confidence = has_confidence || !std::isnan(point.confidence);
      motion.add(i / width, p, motionOf(tracks, i, p));
      occluded.add(i / width, p, point.status == Status::kOccluded ? 1.0 : 0.0);
      lost.add(i / width, p, point.status == Status::kLost ? 1.0 : 0.0);
      confidence.add(i / width, p, point.confidence);
    }
  }
  for (const Judged& position : judged) {
    error.add(position.index / width, position.point, position.error);
  }
  timeline.motion = motion.curve();
  timeline.occluded = occluded.curve().mean;
  timeline.lost = lost.curve().mean;
  if (has_confidence) timeline.confidence = confidence.curve();
  if (!judged.empty()) timeline.error = error.curve();
  return timeline;
}

}  // namespace remora
