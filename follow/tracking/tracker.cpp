#include "follow/tracking/tracker.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "follow/annotation/annotations.h"
#include "follow/base/text.h"
#include "follow/canvas/pose.h"
#include "follow/error.h"
#include "follow/model/loaded_model.h"
#include "follow/tracking/attempt.h"
#include "follow/tracking/following.h"
#include "follow/tracking/plain.h"

namespace remora {
namespace {

constexpr std::size_t kNearPlaces = 3;
constexpr std::size_t kPlacesAnywhere = 8;
constexpr double kEnough = 0.7;          // quality that ends the trials of a near search
constexpr double kMoreThanEnough = 0.9;  // and of one everywhere
constexpr double kAnywhere = 1e7;        // pixels
constexpr std::size_t kFewPoints = 2;    // that cannot agree on much: what is around them must
constexpr double kLikeness = 0.8;        // correlation
constexpr double kKnownNoise = 1.0;      // canvas pixels, of positions that are given
constexpr double kPlacedWeight = 0.05;   // of a point that the others have placed

// Trials on one picture.
class PictureTrials : public Trials {
 public:
  PictureTrials(const LoadedModel& model, Stages& stages, const GreyView& picture)
      : model_(model),
        following_(*model.description().following),
        picture_(picture),
        attempts_(model.description(), stages) {}

  Outcome from(const Start& start) override { return attempts_.run(picture_, start); }

  Outcome near(const Start& start, double reach) override {
    const std::vector<double> all(start.places.size(), 1.0);
    const Affine pose = fitPose(following_.shape.mean(), start.places, all, following_.usual);
    const double size = following_.size * std::sqrt(std::abs(pose.determinant()));
    return bestOf(
        model_.searcher().search(picture_, pose, nearVariations(), reach * size, kNearPlaces),
        start.light, kEnough);
  }

  Outcome anywhere() override {
    std::vector<Candidate> candidates = model_.searcher().search(
        picture_, following_.usual, wideVariations(), kAnywhere, kPlacesAnywhere);
    if (following_.shape.mean().size() <= kFewPoints) {
      const auto unlike = [](const Candidate& c) { return c.correlation < kLikeness; };
      candidates.erase(std::remove_if(candidates.begin(), candidates.end(), unlike),
                       candidates.end());
    }
    return bestOf(candidates, {}, kMoreThanEnough);
  }

 private:
  Outcome bestOf(const std::vector<Candidate>& candidates, const Brightness& light, double enough) {
    const Shape& mean = following_.shape.mean();
    const std::vector<double> all(mean.size(), 1.0);
    Outcome best;
    for (const Candidate& candidate : candidates) {
      Outcome outcome = from({candidate.pose(mean), all, light, false});
      if (outcome.quality > best.quality) best = std::move(outcome);
      if (best.quality >= enough) break;
    }
    return best;
  }

  const LoadedModel& model_;
  const FollowingModel& following_;
  GreyView picture_;
  Attempts attempts_;
};

TrackedShape tracked(const FrameOutcome& frame, const FollowingModel& model) {
  TrackedShape points;
  for (std::size_t p = 0; p < frame.places.size(); ++p) {
    TrackedPoint point{frame.places[p].x, frame.places[p].y, 0.0, Status::kLost};
    if (frame.points[p] == PointOutcome::kFollowed) {
      point.status = Status::kTracked;
      point.confidence = model.tracked.at(frame.trust[p]);
    } else if (frame.points[p] == PointOutcome::kPlacedByShape) {
      point.status = Status::kOccluded;
      point.confidence = model.hidden.at(frame.quality);
    }
    points.push_back(point);
  }
  return points;
}

TrackedShape withoutConfidence(const Shape& shape) {
  TrackedShape points;
  for (const Point& p : shape) {
    points.push_back({p.x, p.y, std::numeric_limits<double>::quiet_NaN(), Status::kTracked});
  }
  return points;
}

// Grey pictures are seen where they are, others are converted.
GreyView viewOf(const Image& image, GreyImage& converted) {
  requireSense(image);
  if (image.channels == 1 && image.depth == Image::Depth::kByte) {
    return {static_cast<const unsigned char*>(image.data), image.width, image.height,
            image.row_bytes == 0 ? image.width : image.row_bytes};
  }
  converted = toGrey(image);
  return {converted.pixels.data(), converted.width, converted.height, converted.width};
}

}  // namespace

struct Tracker::State {
  explicit State(const Model& m) : model(m) {}

  const LoadedModel& loaded() const { return model.loaded(); }

  template <class Step>
  TrackedShape follow(const Image& image, Following state, const Step& step) {
    GreyImage converted;
    const GreyView view = viewOf(image, converted);
    const LoadedModel::Borrowed stages(loaded());
    PictureTrials trials(loaded(), *stages, view);
    const FrameOutcome frame = step(state, trials);
    following = std::move(state);
    return tracked(frame, *loaded().description().following);
  }

  Model model;
  Following following;
  Shape plain;  // positions of a plain model; empty before the start
};

Tracker::Tracker(const Model& model) : state_(std::make_unique<State>(model)) {}
Tracker::Tracker(const Tracker& other) : state_(std::make_unique<State>(*other.state_)) {}
Tracker& Tracker::operator=(const Tracker& other) {
  if (this != &other) state_ = std::make_unique<State>(*other.state_);
  return *this;
}
Tracker::Tracker(Tracker&&) noexcept = default;
Tracker& Tracker::operator=(Tracker&&) noexcept = default;
Tracker::~Tracker() = default;

Shape Tracker::start(const Shape& shape) {
  if (shape.size() != state_->model.numPoints()) {
    throw Error(format("a start of %zu points was given, the model has %zu", shape.size(),
                       state_->model.numPoints()));
  }
  std::vector<double> known;
  for (const Point& point : shape) known.push_back(isSeen(point) ? 1.0 : 0.0);
  const auto count = std::count(known.begin(), known.end(), 1.0);
  if (count == 0) throw Error("the start has no known positions");
  const bool all = count == static_cast<std::ptrdiff_t>(shape.size());
  if (state_->model.isPlain() && !all) {
    throw Error("the start of a plain model needs a position for every point");
  }
  const Shape places = all ? shape : placedByOthers(shape, known);
  for (double& weight : known) weight = std::max(weight, kPlacedWeight);
  state_->following.start(places, known);
  state_->plain = places;
  return places;
}

Shape Tracker::placedByOthers(const Shape& shape, const std::vector<double>& known) const {
  const FollowingModel& model = *state_->loaded().description().following;
  const Shape& mean = model.shape.mean();
  Shape places = shape;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (known[p] == 0.0) places[p] = mean[p];
  }
  const Affine pose = fitPose(mean, places, known, model.usual);
  const Shape expected = pose(model.shape.fit(pose.inverse()(places), known, kKnownNoise));
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (known[p] == 0.0) places[p] = expected[p];
  }
  return places;
}

TrackedShape Tracker::find(const Image& image) {
  if (state_->model.isPlain()) throw Error("a plain model cannot find its shape: start it");
  const Following before = state_->following;
  const TrackedShape found =
      state_->follow(image, Following(), [this](Following& following, Trials& trials) {
        return following.next(trials, state_->model.numPoints());
      });
  if (!state_->following.started()) state_->following = before;
  return found;
}

TrackedShape Tracker::next(const Image& image) {
  if (state_->model.isPlain()) {
    const GreyImage grey = toGrey(image);
    const LoadedModel::Borrowed stages(state_->loaded());
    const Shape last = state_->plain.empty() ? plainStart(state_->loaded(), grey) : state_->plain;
    state_->plain = predictPlainly(state_->loaded().description(), *stages, grey, last);
    return withoutConfidence(state_->plain);
  }
  return state_->follow(image, state_->following, [this](Following& following, Trials& trials) {
    return following.next(trials, state_->model.numPoints());
  });
}

void Tracker::correct(std::size_t point, double x, double y) {
  if (point >= state_->model.numPoints()) throw Error(format("there is no point %zu", point));
  if (!isSeen({x, y})) throw Error(format("the corrected point %zu is not finite", point));
  if (state_->model.isPlain() ? state_->plain.empty() : !state_->following.started()) {
    throw Error("there is no frame to correct: start or find the shape first");
  }
  if (state_->model.isPlain()) state_->plain[point] = {x, y};
  if (!state_->model.isPlain()) state_->following.correct(point, {x, y});
}

}  // namespace remora
