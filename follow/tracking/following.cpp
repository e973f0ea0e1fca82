#include "follow/tracking/following.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "follow/canvas/pose.h"

namespace remora {
namespace {

constexpr double kGood = 0.6;        // quality that needs no second opinion
constexpr double kPoor = 0.5;        // quality below which the neighbourhood is searched
constexpr double kFoundAgain = 0.5;  // quality that ends a loss
constexpr double kFound = 0.6;       // quality of a shape found anywhere, if the next frame agrees
constexpr double kCertain = 0.9;     // quality of one that is believed at once
constexpr double kLeastWeight = 0.05;
constexpr double kReachGrowth = 0.3;  // sizes a frame of loss
constexpr int kMostGrowth = 20;       // frames
constexpr int kPatience = 3;          // frames of loss before the whole picture is searched
constexpr int kBetweenSearches = 4;   // frames of loss from one such search to the next

// Some points that leave no doubt carry a shape whose other points are hidden.
bool isCarried(const Outcome& outcome) {
  constexpr double kNoDoubt = 0.7;
  constexpr std::ptrdiff_t kFewest = 3;
  constexpr std::ptrdiff_t kOneIn = 5;
  const auto sure = std::count_if(outcome.trust.begin(), outcome.trust.end(),
                                  [](double trust) { return trust >= kNoDoubt; });
  return sure >= kFewest && kOneIn * sure >= static_cast<std::ptrdiff_t>(outcome.trust.size());
}

void take(Outcome&& candidate, Outcome& best) {
  if (candidate.quality > best.quality) best = std::move(candidate);
}

}  // namespace

void Following::start(const Shape& places) {
  start(places, std::vector<double>(places.size(), 1.0));
}

void Following::start(const Shape& places, std::vector<double> weights) {
  last_ = places;
  before_.clear();
  weights_ = std::move(weights);
  light_ = {};
  lost_ = 0;
  doubtful_ = false;
}

void Following::forget() { start({}); }

void Following::correct(std::size_t point, const Point& place) {
  last_[point] = place;
  weights_[point] = 1.0;
}

FrameOutcome Following::next(Trials& trials, std::size_t points) {
  if (!started()) {
    Outcome found = trials.anywhere();
    if (found.quality < kFound) return lose(points);
    doubtful_ = found.quality < kCertain;
    return accept(found);
  }
  const Outcome outcome = best(trials);
  if (doubtful_) {
    if (outcome.quality < kFound) {
      forget();
      return lose(points);
    }
    doubtful_ = false;
  }
  const bool believed = lost_ > 0 ? outcome.quality >= kFoundAgain
                                  : outcome.quality >= kBelieved || isCarried(outcome);
  return believed ? accept(outcome) : lose(points);
}

Outcome Following::best(Trials& trials) {
  const Start start{last_, weights_, light_, false};
  Outcome outcome = trials.from(start);
  if (outcome.quality < kGood && !before_.empty()) {
    const Affine motion = fitPose(before_, last_, weights_, Affine{});
    take(trials.from({motion(last_), weights_, light_, false}), outcome);
    if (outcome.quality < kGood) {
      take(trials.from({motion(last_), weights_, light_, true}), outcome);
    }
  }
  if (outcome.quality < kGood) take(trials.from({last_, weights_, light_, true}), outcome);
  if (outcome.quality < kPoor) {
    take(trials.near(start, 1.0 + kReachGrowth * std::min(lost_, kMostGrowth)), outcome);
  }
  const bool due = lost_ >= kPatience && (lost_ - kPatience) % kBetweenSearches == 0;
  if (outcome.quality < kBelieved && due) {
    Outcome found = trials.anywhere();
    if (found.quality >= kFound) take(std::move(found), outcome);
  }
  return outcome;
}

FrameOutcome Following::accept(const Outcome& outcome) {
  FrameOutcome frame{outcome.places, outcome.trust, {}, outcome.quality};
  for (std::size_t p = 0; p < frame.places.size(); ++p) {
    const bool followed = frame.trust[p] >= kTrusted;
    frame.points.push_back(followed ? PointOutcome::kFollowed : PointOutcome::kPlacedByShape);
    if (!followed) frame.places[p] = outcome.expected[p];
  }
  before_ = lost_ > 0 ? Shape{} : last_;
  last_ = frame.places;
  weights_ = frame.trust;
  light_ = outcome.light;
  for (double& weight : weights_) weight = std::max(weight, kLeastWeight);
  lost_ = 0;
  if (!doubtful_) return frame;
  // Found where it may not be: said when the next frame has agreed.
  frame.points.assign(frame.places.size(), PointOutcome::kLost);
  frame.trust.assign(frame.places.size(), 0.0);
  return frame;
}

FrameOutcome Following::lose(std::size_t points) {
  ++lost_;
  before_.clear();
  constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
  Shape places = last_;
  places.resize(points, {kNowhere, kNowhere});
  return {places, std::vector<double>(points, 0.0),
          std::vector<PointOutcome>(points, PointOutcome::kLost), 0.0};
}

}  // namespace remora
