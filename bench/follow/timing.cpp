#include "timing.h"

#include <functional>
#include <vector>

#include "bench/rounds.h"
#include "cells.h"
#include "follow/base/text.h"
#include "follow/tracking/tracker.h"
#include "output.h"
#include "plane.h"
#include "trial.h"
#ifdef REMORA_LUCAS_KANADE
#include "bench/lucas_kanade.h"
#endif

namespace remora::bench {
namespace {

constexpr int kFrames = 60;
constexpr int kTrainingStep = 3;
constexpr int kSearchPeriod = 4;  // frames of loss from one search of the whole picture to the next
constexpr int kEmptyPictures = 5;    // so that each of them has its turn to be searched
constexpr int kLongLost = 24;        // frames after which the neighbourhood grows no more
constexpr int kTrackedRounds = 241;  // some times through the footage
constexpr int kSearchRounds = 15;

// Numbers of frames without end: after the last one comes the first.
class Circle {
 public:
  explicit Circle(std::size_t frames) : frames_(frames) {}
  std::size_t next() { return at_ = (at_ + 1) % frames_; }

 private:
  std::size_t frames_;
  std::size_t at_ = 0;
};

std::function<void()> times(int count, const std::function<void()>& work) {
  return [=] {
    for (int i = 0; i < count; ++i) work();
  };
}

std::function<void()> following(Tracker& tracker, const std::vector<GreyImage>& frames) {
  return [&tracker, &frames, circle = Circle(frames.size())]() mutable {
    tracker.next(frames[circle.next()].view());
  };
}

std::function<void()> finding(Tracker& tracker, const std::vector<GreyImage>& frames) {
  return [&tracker, &frames, circle = Circle(frames.size())]() mutable {
    tracker.find(frames[circle.next()].view());
  };
}

// Work of so many frames, and the same number of frames followed by the peer, in turn.
std::vector<Result> compare(const std::function<void()>& work, int frames, int rounds,
                            const Footage& footage) {
  std::vector<Candidate> candidates = {{"Remora", times(frames, work)}};
#ifdef REMORA_LUCAS_KANADE
  LucasKanade peer(footage.frame(0).view(), footage.shape(0));
  Circle circle(footage.frames.size());
  const auto track = [&] {
    peer.track(footage.frames[circle.next()].view());
    peer.advance();
  };
  candidates.push_back({"LK", times(frames, track)});
#else
  (void)footage;
#endif
  std::vector<Result> results = inRounds(candidates, rounds, Time::kWorked);
  for (Result& result : results) result.seconds /= frames;
  return results;
}

std::string formatRow(const std::string& what, const std::string& size,
                      const std::vector<Result>& results, const std::string& trusted) {
  const bool has_peer = results.size() > 1;
  return row({what, size, cell(1e3 * results[0].seconds, 2),
              has_peer ? cell(1e3 * results[1].seconds, 2) : "-",
              has_peer ? cell(results[1].ratio, 2) : "-", trusted});
}

// How much of what is timed is trusted, and how far off it is.
std::string formatTrust(const Model& model, const Footage& footage) {
  const Tracks tracks = follow(model, footage, 1);
  const Evaluation judged = evaluate(tracks, footage.truth, kLostLimit, {});
  return format("%.1f %%, %.2f px", 100.0 * (1.0 - judged.separation->marked_good),
                judged.all.mean);
}

std::string timingOf(const PlaneSize& size) {
  const std::string name = format("%zu points, %d x %d", size.points, size.width, size.height);
  tools::say("timing: " + name);
  const Footage footage = movingPlane(size, kFrames);
  const std::vector<GreyImage> empty = withoutPlane(size, kEmptyPictures);
  const Model model = trainedModel(examplesOf(footage, {{0, kFrames - 1, kTrainingStep}}), 1);

  Tracker tracker(model);
  tracker.start(footage.shape(0));
  const std::vector<Result> tracked =
      compare(following(tracker, footage.frames), 1, kTrackedRounds, footage);
  const auto lose = following(tracker, empty);
  times(kLongLost, lose)();
  const std::vector<Result> lost = compare(lose, kSearchPeriod, kSearchRounds, footage);
  const std::vector<Result> looked_for =
      compare(finding(tracker, empty), 1, kSearchRounds, footage);
  return formatRow("followed", name, tracked, formatTrust(model, footage)) +
         formatRow("lost, and looked for", name, lost, "-") +
         formatRow("never found yet", name, looked_for, "-");
}

}  // namespace

std::string timingTable() {
  std::string text = head({"frames", "size", "ms", "LK: ms", "ms by LK's", "trusted, mean error"});
  for (const PlaneSize& size :
       {PlaneSize{640, 480, 12}, PlaneSize{640, 480, 68}, PlaneSize{1920, 1080, 12}}) {
    text += timingOf(size);
  }
  return text;
}

double trainingTime(const Subject& subject) {
  constexpr int kRounds = 3;
  tools::say("timing: training of " + subject.name);
  const std::vector<Example> examples = examplesOf(subject.footage(1), subject.training);
  return inRounds({{"training", [&] { trainedModel(examples, 1); }}}, kRounds, Time::kWorked)[0]
      .seconds;
}

}  // namespace remora::bench
