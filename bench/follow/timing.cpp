#include "timing.h"

#include <functional>
#include <memory>
#include <numeric>
#include <vector>

#include "bench/rounds.h"
#include "cells.h"
#include "follow/base/text.h"
#include "follow/canvas/pose.h"
#include "follow/model/loaded_model.h"
#include "follow/tracking/cascade.h"
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
constexpr int kEmptyPictures = 5;
constexpr int kLongLost = 24;        // frames after which the neighbourhood grows no more
constexpr int kTrackedRounds = 241;  // some times through the footage
constexpr int kLostRounds = 61;
constexpr int kSearchRounds = 9;
constexpr int kGrowthRounds = 121;

// Numbers of frames without end: after the last one comes the first.
class Circle {
 public:
  explicit Circle(std::size_t frames) : frames_(frames) {}
  std::size_t next() { return at_ = (at_ + 1) % frames_; }

 private:
  std::size_t frames_;
  std::size_t at_ = 0;
};

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

// Work of a frame, and a frame that the peer follows, without and with its way back, in turn.
std::vector<Result> compare(const std::function<void()>& work, int rounds, const Footage& footage) {
  std::vector<Candidate> candidates = {{"Remora", work}};
#ifdef REMORA_LUCAS_KANADE
  const auto peerOf = [&](bool back) {
    return [&footage, back, circle = Circle(footage.frames.size()),
            peer = std::make_shared<LucasKanade>(footage.frame(0).view(),
                                                 footage.shape(0))]() mutable {
      peer->track(footage.frames[circle.next()].view());
      if (back) peer->trackBack();
      peer->advance();
    };
  };
  candidates.push_back({"LK", peerOf(false)});
  candidates.push_back({"LK, forward and backward", peerOf(true)});
#else
  (void)footage;
#endif
  return inRounds(candidates, rounds, Time::kWorked);
}

// Against `followed` by way of the peer, where there is one: other load was on when that was timed.
std::string formatRow(const std::string& what, const std::string& size,
                      const std::vector<Result>& results, const std::vector<Result>& followed,
                      const std::string& trusted) {
  const bool has_peer = results.size() > 2;
  const auto ratio = [&](std::size_t i) { return has_peer ? cell(results[i].ratio, 2) : "-"; };
  return row({what, size, cell(1e3 * results[0].seconds, 2),
              cell(has_peer ? results[1].ratio / followed[1].ratio
                            : results[0].seconds / followed[0].seconds,
                   1),
              has_peer ? cell(1e3 * results[1].seconds, 2) : "-", ratio(1), ratio(2), trusted});
}

// How much of what is timed is trusted, and how far off it is.
std::string formatTrust(const Model& model, const Footage& footage) {
  const Tracks tracks = follow(model, footage, 1);
  const Evaluation judged = evaluate(tracks, footage.truth, kLostLimit, {});
  return format("%.1f %%, %.2f px", 100.0 * (1.0 - judged.separation->marked_good),
                judged.all.mean);
}

std::string nameOf(const PlaneSize& size) {
  return format("%zu points, %d x %d, shape of %.0f px", size.points, size.width, size.height,
                200.0 * size.plane);
}

Model modelOf(const Footage& footage) {
  return trainedModel(examplesOf(footage, {{0, kFrames - 1, kTrainingStep}}), 1);
}

std::string timingOf(const PlaneSize& size) {
  tools::say("timing: " + nameOf(size));
  const Footage footage = movingPlane(size, kFrames);
  const std::vector<GreyImage> empty = withoutPlane(size, kEmptyPictures);
  const Model model = modelOf(footage);

  Tracker tracker(model);
  tracker.start(footage.shape(0));
  const std::vector<Result> tracked =
      compare(following(tracker, footage.frames), kTrackedRounds, footage);
  const auto lose = following(tracker, empty);
  for (int i = 0; i < kLongLost; ++i) lose();
  const std::vector<Result> lost = compare(lose, kLostRounds, footage);
  Tracker unlimited(model, {0});
  const std::vector<Result> found = compare(finding(unlimited, empty), kSearchRounds, footage);
  const std::string name = nameOf(size);
  return formatRow("followed", name, tracked, tracked, formatTrust(model, footage)) +
         formatRow("lost, and looked for", name, lost, tracked, "-") +
         formatRow("whole picture searched at once", name, found, tracked, "-");
}

// Seconds of one frame that is followed.
double followedTime(const PlaneSize& size) {
  tools::say("growth: " + nameOf(size));
  const Footage footage = movingPlane(size, kFrames);
  Tracker tracker(modelOf(footage));
  tracker.start(footage.shape(0));
  return inRounds({{"Remora", following(tracker, footage.frames)}}, kGrowthRounds, Time::kWorked)[0]
      .seconds;
}

void accumulate(double& sum, const std::function<void()>& work) {
  const double before = workedSeconds();
  work();
  sum += workedSeconds() - before;
}

}  // namespace

std::string timingTable() {
  std::string text = head({"frames", "size", "ms", "by a followed one", "LK: ms", "ms by LK's",
                           "by LK's forward-backward", "trusted, mean error"});
  for (const PlaneSize& size : {PlaneSize{640, 480, 12}, PlaneSize{640, 480, 68},
                                PlaneSize{1920, 1080, 12}, PlaneSize{1920, 1080, 12, 2.25}}) {
    text += timingOf(size);
  }
  return text;
}

std::string growthTable() {
  std::string text = head({"grows", "to", "ms"});
  const auto add = [&](const char* what, double to, const PlaneSize& size) {
    text += row({what, format("%g", to), cell(1e3 * followedTime(size), 3)});
  };
  for (const std::size_t points : {4, 12, 32, 68, 128, 256}) {
    add("points", static_cast<double>(points), {640, 480, points});
  }
  for (const double plane : {0.5, 1.0, 1.5, 2.0, 3.0}) {
    add("width of the shape, px", 200.0 * plane, {1280, 960, 12, plane});
  }
  for (const int height : {480, 720, 1080, 2160}) {
    add("height of the frame, px", height, {height * 4 / 3, height, 12});
  }
  return text;
}

// The stages, run as an attempt runs them where every point is near.
std::string partsTable(std::size_t points) {
  tools::say("parts of a frame");
  const Footage footage = movingPlane({640, 480, points}, kFrames);
  const Model model = modelOf(footage);
  const LoadedModel& loaded = model.loaded();
  const FollowingModel& following = *loaded.description().following;
  const LoadedModel::Borrowed stages(loaded);
  Cascade cascade(loaded.description(), *stages);
  cascade.use(*stages);
  Selection all(points);
  std::iota(all.begin(), all.end(), std::size_t{0});
  const std::vector<double> weights(points, 1.0);
  PoseFit fit;
  double posing = 0.0, drawing = 0.0, steps = 0.0, looks = 0.0;
  for (int i = 0; i < 4 * kFrames; ++i) {
    const GreyView picture{footage.frame(i % kFrames).pixels.data(), 640, 480, 640};
    Shape seen = footage.shape((i + kFrames - 1) % kFrames);
    Affine pose = following.usual;
    Shape places;
    for (std::size_t s = 0; s < cascade.numStages(); ++s) {
      const int level = cascade.levelOf(s);
      if (s == 0 || level != cascade.levelOf(s - 1)) {
        if (s > 0) seen = pose(places);
        accumulate(posing, [&] { pose = fit(following.shape.mean(), seen, weights, pose); });
        places = pose.inverse()(seen);
        accumulate(drawing, [&] { cascade.begin(picture, pose, level, places, s); });
      }
      accumulate(steps, [&] { cascade.predict(s, all, places); });
    }
    const auto agree = [&](std::size_t p, const Patch* patch) {
      if (patch != nullptr) following.looks[kFine][p].agreement(*patch);
    };
    accumulate(looks, [&] { cascade.look(kFine, all, places, agree); });
  }
  const double each = 1e3 / (4.0 * kFrames);
  const std::string size = format("%zu", points);
  return row({size, "drawing the canvases, brightness", cell(each * drawing, 3)}) +
         row({size, "steps of the stages, with what they draw besides", cell(each * steps, 3)}) +
         row({size, "looks that tell the trust, once", cell(each * looks, 3)}) +
         row({size, "pose", cell(each * posing, 3)});
}

double trainingTime(const Subject& subject) {
  constexpr int kRounds = 3;
  tools::say("timing: training of " + subject.name);
  const std::vector<Example> examples = examplesOf(subject.footage(1), subject.training);
  return inRounds({{"training", [&] { trainedModel(examples, 1); }}}, kRounds, Time::kWorked)[0]
      .seconds;
}

}  // namespace remora::bench
