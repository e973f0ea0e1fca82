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
#include "follow/tracking/picture_trials.h"
#include "follow/tracking/plain.h"

namespace remora {
namespace {

constexpr double kKnownNoise = 1.0;     // canvas pixels, of positions that are given
constexpr double kPlacedWeight = 0.05;  // of a point that the others have placed

void tell(const FrameOutcome& frame, const FollowingModel& model, TrackedShape& points) {
  points.resize(frame.places.size());
  for (std::size_t p = 0; p < frame.places.size(); ++p) {
    TrackedPoint& point = points[p];
    point = {frame.places[p].x, frame.places[p].y, 0.0, Status::kLost};
    if (frame.points[p] == PointOutcome::kFollowed) {
      point.status = Status::kTracked;
      point.confidence = model.tracked.at(frame.trust[p]);
    } else if (frame.points[p] == PointOutcome::kPlacedByShape) {
      point.status = Status::kOccluded;
      point.confidence = model.hidden.at(frame.quality);
    }
  }
}

void tellWithoutConfidence(const Shape& shape, TrackedShape& points) {
  constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();
  points.clear();
  for (const Point& p : shape) points.push_back({p.x, p.y, kNotKnown, Status::kTracked});
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
  State(const Model& m, const TrackerOptions& o) : model(m), options(o) {}
  State(const State& other)
      : model(other.model),
        options(other.options),
        following(other.following),
        sweep(other.sweep),
        is_first(other.is_first),
        plain(other.plain) {}

  const LoadedModel& loaded() const { return model.loaded(); }

  // The next frame of `state`, which changes where nothing throws.
  void follow(const Image& image, Following& state, int most_work, TrackedShape& points) {
    const GreyView view = viewOf(image, converted);
    const LoadedModel::Borrowed stages(loaded());
    if (!attempts) attempts = std::make_unique<Attempts>(loaded().description(), *stages);
    attempts->use(*stages);
    PictureTrials trials(loaded(), *attempts, sweep, view, most_work);
    state.next(trials, model.numPoints(), frame);
    if (state.isFollowed()) sweep.reset();
    tell(frame, *loaded().description().following, points);
  }

  void predictPlain(const Image& image, TrackedShape& points) {
    const GreyImage grey = toGrey(image);
    const LoadedModel::Borrowed stages(loaded());
    const Shape last = plain.empty() ? plainStart(loaded(), grey) : plain;
    plain = predictPlainly(loaded().description(), *stages, grey, last);
    tellWithoutConfidence(plain, points);
  }

  Model model;
  TrackerOptions options;
  Following following;
  Sweep sweep;           // where the search of the whole picture is
  bool is_first = true;  // no frame has been seen
  Shape plain;           // positions of a plain model; empty before the start

  // What a frame needs, kept so that the next one allocates no memory. No part of a copy.
  std::unique_ptr<Attempts> attempts;
  FrameOutcome frame;
  GreyImage converted;
};

Tracker::Tracker(const Model& model, const TrackerOptions& options)
    : state_(std::make_unique<State>(model, options)) {
  if (options.most_work == 0 || options.most_work >= TrackerOptions::kLeastWork) return;
  throw Error(format("the most work of a frame is %d attempts or more, or 0: no limit",
                     TrackerOptions::kLeastWork));
}
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
  state_->sweep.reset();
  state_->is_first = false;
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
  TrackedShape points;
  Following anew;
  state_->follow(image, anew, 0, points);
  if (anew.started()) state_->following = std::move(anew);
  return points;
}

TrackedShape Tracker::next(const Image& image) {
  TrackedShape points;
  next(image, points);
  return points;
}

void Tracker::next(const Image& image, TrackedShape& points) {
  if (state_->model.isPlain()) return state_->predictPlain(image, points);
  state_->follow(image, state_->following, state_->is_first ? 0 : state_->options.most_work,
                 points);
  state_->is_first = false;
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
