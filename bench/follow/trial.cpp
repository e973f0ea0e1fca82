#include "trial.h"

#include <stdlib.h>

#include <filesystem>
#include <limits>
#include <set>
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

std::optional<ErrorSummary> errorsOf(Kind kind, const Tracks& tracks, Truth truth,
                                     const FrameChoice& choice) {
  const std::set<int> tracked(tracks.frame_numbers.begin(), tracks.frame_numbers.end());
  bool any = false;
  for (AnnotatedFrame& frame : truth.annotations.frames) {
    const bool counts = tracked.count(frame.number) != 0 && isChosen(choice, frame.number);
    for (std::size_t p = 0; p < frame.points.size(); ++p) {
      const bool hidden = truth.hidden.count({frame.number, p}) != 0;
      const bool wanted = hidden == (kind == Kind::kHidden);
      if (!wanted) frame.points[p] = unseen();  // and so does not count
      any = any || (counts && wanted);
    }
  }
  if (!any) return std::nullopt;
  return evaluate(tracks, std::move(truth), kLostLimit, choice).all;
}

}  // namespace remora::bench
