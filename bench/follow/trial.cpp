#include "trial.h"

#include <stdlib.h>

#include <filesystem>
#include <limits>
#include <string>
#include <utility>

#include "follow/error.h"
#include "follow/tracking/tracker.h"
#include "follow/training/training.h"
#ifdef REMORA_LUCAS_KANADE
#include "bench/lucas_kanade.h"
#endif

namespace remora::bench {
namespace {

class TemporaryFolder {
 public:
  TemporaryFolder() : path_(std::filesystem::temp_directory_path().string() + "/remora.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw Error("no folder " + path_ + " can be made");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Calls `next` with the numbers of the frames, and gathers what it returns.
template <class Next>
Tracks gather(const Footage& footage, int step, const Next& next) {
  Tracks tracks;
  tracks.names = indexNames(footage.numPoints());
  for (int frame = step; frame < footage.numFrames(); frame += step) {
    tracks.frame_numbers.push_back(frame);
    tracks.shapes.push_back(next(footage.frame(frame).view()));
  }
  return tracks;
}

}  // namespace

std::vector<Example> examplesOf(const Footage& footage, const FrameChoice& choice) {
  std::vector<Example> examples;
  for (int i = 0; i < footage.numFrames(); ++i) {
    if (!isChosen(choice, i)) continue;
    examples.push_back({"frame " + std::to_string(i), footage.frame(i), footage.shape(i)});
  }
  return examples;
}

Model trainedModel(const std::vector<Example>& examples, unsigned seed) {
  const TemporaryFolder folder;
  TrainingOptions options;
  options.seed = seed;
  train(examples, options, folder.path());
  return Model(folder.path());
}

Tracks follow(const Model& model, const Footage& footage, int step) {
  Tracker tracker(model);
  tracker.start(footage.shape(0));
  return gather(footage, step, [&](const Image& image) { return tracker.next(image); });
}

std::optional<Tracks> followByPeer(const Footage& footage, int step) {
#ifdef REMORA_LUCAS_KANADE
  LucasKanade peer(footage.frame(0).view(), footage.shape(0));
  return gather(footage, step, [&](const Image& image) {
    TrackedShape tracked = asKnown(peer.track(image));
    for (TrackedPoint& p : tracked) p.confidence = std::numeric_limits<double>::quiet_NaN();
    peer.advance();
    return tracked;
  });
#else
  (void)footage, (void)step;
  return std::nullopt;
#endif
}

// evaluate() sums up whole frames: each of the positions becomes the frame of a single point.
std::optional<ErrorSummary> errorsOf(Kind kind, const Tracks& tracks, const Truth& truth,
                                     const FrameChoice& choice) {
  Tracks positions;
  positions.names = {"any"};
  Truth known;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    const int frame = tracks.frame_numbers[i];
    if (!isChosen(choice, frame)) continue;
    const Shape& shape = truth.shapes[static_cast<std::size_t>(frame - truth.first_frame)];
    for (std::size_t p = 0; p < shape.size(); ++p) {
      if ((truth.hidden.count({frame, p}) != 0) != (kind == Kind::kHidden)) continue;
      positions.frame_numbers.push_back(static_cast<int>(known.shapes.size()));
      positions.shapes.push_back({tracks.shapes[i][p]});
      known.shapes.push_back({shape[p]});
    }
  }
  if (known.shapes.empty()) return std::nullopt;
  return evaluate(positions, known, kLostLimit, {}).all;
}

}  // namespace remora::bench
