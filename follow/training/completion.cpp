#include "follow/training/completion.h"

#include <algorithm>
#include <cstddef>

#include "follow/annotation/annotations.h"
#include "follow/base/text.h"
#include "follow/canvas/pose.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr int kRounds = 6;

std::ptrdiff_t countSeen(const std::vector<double>& seen) {
  return std::count(seen.begin(), seen.end(), 1.0);
}

bool isComplete(const TrainingFrame& frame) {
  return countSeen(frame.seen) == static_cast<std::ptrdiff_t>(frame.seen.size());
}

void requireSeen(const std::vector<TrainingFrame>& frames, const std::vector<std::string>& names) {
  for (std::size_t p = 0; p < names.size(); ++p) {
    const auto shows = [p](const TrainingFrame& frame) { return frame.isSeen(p); };
    if (std::any_of(frames.begin(), frames.end(), shows)) continue;
    throw Error(format("point %zu (%s) is seen in no training frame", p, names[p].c_str()));
  }
}

// The mean of shapes that each show some points, in the coordinates of the one that shows most.
class PartialMean {
 public:
  explicit PartialMean(const std::vector<TrainingFrame>& frames) : frames_(frames) {
    const auto fullest = std::max_element(frames.begin(), frames.end(),
                                          [](const TrainingFrame& a, const TrainingFrame& b) {
                                            return countSeen(a.seen) < countSeen(b.seen);
                                          });
    mean_ = fullest->shape;
    known_ = fullest->seen;
    for (int round = 0; round < kRounds; ++round) average();
  }

  // Places for what the frame does not show.
  void fill(TrainingFrame& frame) const {
    const Affine pose = poseOf(frame);
    for (std::size_t p = 0; p < mean_.size(); ++p) {
      if (!frame.isSeen(p)) frame.shape[p] = pose(mean_[p]);
    }
  }

 private:
  // By the points that both show; by all of the frame's, where there are none.
  Affine poseOf(const TrainingFrame& frame) const {
    std::vector<double> both = frame.seen;
    for (std::size_t p = 0; p < both.size(); ++p) both[p] *= known_[p];
    Shape places = frame.shape;
    for (std::size_t p = 0; p < both.size(); ++p) {
      if (both[p] == 0.0) places[p] = mean_[p];
    }
    if (countSeen(both) == 0) return {};
    return fitPose(mean_, places, both, Affine{});
  }

  void average() {
    Shape sum(mean_.size());
    std::vector<double> counts(mean_.size(), 0.0);
    for (const TrainingFrame& frame : frames_) {
      const Affine back = poseOf(frame).inverse();
      for (std::size_t p = 0; p < mean_.size(); ++p) {
        if (!frame.isSeen(p)) continue;
        sum[p] = sum[p] + back(frame.shape[p]);
        counts[p] += 1.0;
      }
    }
    for (std::size_t p = 0; p < mean_.size(); ++p) {
      if (counts[p] == 0.0) continue;
      mean_[p] = (1.0 / counts[p]) * sum[p];
      known_[p] = 1.0;
    }
  }

  const std::vector<TrainingFrame>& frames_;
  Shape mean_;
  std::vector<double> known_;  // of each point: 1, or 0
};

}  // namespace

std::vector<TrainingFrame> complete(const std::vector<Example>& examples,
                                    const std::vector<std::string>& names) {
  std::vector<TrainingFrame> frames;
  for (const Example& example : examples) {
    TrainingFrame frame{&example, example.shape, {}};
    for (Point& point : frame.shape) {
      frame.seen.push_back(isSeen(point) ? 1.0 : 0.0);
      if (!isSeen(point)) point = {};
    }
    if (countSeen(frame.seen) == 0) throw Error(example.name + " shows none of the points");
    frames.push_back(std::move(frame));
  }
  requireSeen(frames, names);
  if (std::all_of(frames.begin(), frames.end(), isComplete)) return frames;
  const PartialMean mean(frames);
  for (TrainingFrame& frame : frames) mean.fill(frame);
  return frames;
}

}  // namespace remora
