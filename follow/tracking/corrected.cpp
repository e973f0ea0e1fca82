#include "follow/tracking/corrected.h"

#include <algorithm>
#include <utility>

#include "follow/annotation/annotations.h"
#include "follow/error.h"

namespace remora {
namespace {

// So many of its points place a shape that was lost, or not found yet.
constexpr std::size_t kPlacingShare = 2;  // one in two

bool placesShape(const Shape& known) {
  const auto seen = std::count_if(known.begin(), known.end(), isSeen);
  return kPlacingShare * static_cast<std::size_t>(seen) >= known.size();
}

bool isLost(const TrackedShape& shape) { return shape[0].status == Status::kLost; }

void takeKnown(const Shape& known, TrackedShape& shape) {
  for (std::size_t p = 0; p < known.size(); ++p) {
    if (isSeen(known[p])) shape[p] = {known[p].x, known[p].y, 1.0, Status::kTracked};
  }
}

void tell(const TellDone& done, std::size_t steps) {
  if (done && !done(steps)) throw Error("tracking was stopped");
}

class Backwards {
 public:
  Backwards(const Model& model, const KnownFrames& known, const LoadFrame& load,
            std::vector<TrackedShape>& tracks)
      : model_(model), known_(known), load_(load), tracks_(tracks) {}

  // From a known frame to the one before it; tells after each frame.
  template <class Tell>
  void from(std::size_t frame, const Tell& tell) {
    Tracker tracker(model_, {0});
    tracker.start(known_.at(frame));
    while (frame > 0) {
      --frame;
      if (known_.count(frame) != 0) return;
      const Picture picture = load_(frame);
      takeBetter(tracker.next(picture.view()), tracks_[frame]);
      tell();
    }
  }

 private:
  static void takeBetter(const TrackedShape& other, TrackedShape& shape) {
    for (std::size_t p = 0; p < shape.size(); ++p) {
      if (other[p].confidence > shape[p].confidence) shape[p] = other[p];
    }
  }

  const Model& model_;
  const KnownFrames& known_;
  const LoadFrame& load_;
  std::vector<TrackedShape>& tracks_;
};

}  // namespace

TrackedShape CorrectedTracker::begin(const Shape& known) {
  const Shape places = tracker_.start(known);
  started_ = true;
  TrackedShape shape = asKnown(places);
  for (std::size_t p = 0; p < known.size(); ++p) {
    if (!isSeen(known[p])) shape[p] = {places[p].x, places[p].y, 0.0, Status::kOccluded};
  }
  return shape;
}

TrackedShape CorrectedTracker::next(const Image& image, const Shape* known) {
  if (known == nullptr) {
    started_ = true;
    return tracker_.next(image);
  }
  if (!started_) return begin(*known);
  TrackedShape shape = tracker_.next(image);
  if (isLost(shape)) return placesShape(*known) ? begin(*known) : shape;
  takeKnown(*known, shape);
  for (std::size_t p = 0; p < known->size(); ++p) {
    if (isSeen((*known)[p])) tracker_.correct(p, shape[p].x, shape[p].y);
  }
  return shape;
}

std::vector<TrackedShape> trackForwards(const Model& model, std::size_t count,
                                        const KnownFrames& known, const LoadFrame& load,
                                        const TellDone& done) {
  std::vector<TrackedShape> tracks;
  CorrectedTracker tracker(model);
  for (std::size_t frame = 0; frame < count; ++frame) {
    const auto given = known.find(frame);
    const Picture picture = load(frame);
    tracks.push_back(tracker.next(picture.view(), given == known.end() ? nullptr : &given->second));
    tell(done, frame + 1);
  }
  return tracks;
}

std::vector<TrackedShape> trackBothWays(const Model& model, std::size_t count,
                                        const KnownFrames& known, const LoadFrame& load,
                                        const TellDone& done) {
  if (model.isPlain()) throw Error("a plain model cannot track both ways: it knows no confidence");
  std::vector<TrackedShape> tracks = trackForwards(model, count, known, load, done);
  Backwards backwards(model, known, load, tracks);
  std::size_t steps = count;
  for (const auto& [frame, shape] : known) {
    if (placesShape(shape)) backwards.from(frame, [&] { tell(done, ++steps); });
  }
  return tracks;
}

}  // namespace remora
