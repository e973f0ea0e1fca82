#include "follow/tracking/following.h"

#include <algorithm>
#include <limits>
#include <utility>

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
constexpr int kBetweenSearches =
    4;  // frames of loss from one such search, all at once, to the next

// Some points that leave no doubt carry a shape whose other points are hidden.
bool isCarried(const Outcome& outcome) {
  constexpr double kNoDoubt = 0.7;
  constexpr std::ptrdiff_t kFewest = 3;
  constexpr std::ptrdiff_t kOneIn = 5;
  const auto sure = std::count_if(outcome.trust.begin(), outcome.trust.end(),
                                  [](double trust) { return trust >= kNoDoubt; });
  return sure >= kFewest && kOneIn * sure >= static_cast<std::ptrdiff_t>(outcome.trust.size());
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

void Following::makeRoom(std::size_t points) {
  for (Shape* shape : {&last_, &before_, &ahead_, &best_.places, &best_.expected,
                       &candidate_.places, &candidate_.expected}) {
    shape->reserve(points);
  }
  for (std::vector<double>* list : {&weights_, &best_.trust, &candidate_.trust}) {
    list->reserve(points);
  }
  fit_motion_.reserve(points);
}

void Following::next(Trials& trials, std::size_t points, FrameOutcome& frame) {
  makeRoom(points);
  if (!started()) {
    best_.quality = -1.0;
    trials.anywhere(best_);
    doubtful_ = best_.quality < kCertain;
    return best_.quality < kFound ? lose(points, frame) : accept(frame);
  }
  findBest(trials);
  if (doubtful_) {
    if (best_.quality < kFound) {
      forget();
      return lose(points, frame);
    }
    doubtful_ = false;
  }
  const bool believed =
      lost_ > 0 ? best_.quality >= kFoundAgain : best_.quality >= kBelieved || isCarried(best_);
  return believed ? accept(frame) : lose(points, frame);
}

// Keeps what is better than anything before.
template <class Try>
void Following::consider(const Try& attempt) {
  candidate_.quality = -1.0;
  attempt(candidate_);
  if (candidate_.quality > best_.quality) std::swap(candidate_, best_);
}

void Following::findBest(Trials& trials) {
  const auto tryFrom = [&](const Shape& places, bool only_fine) {
    consider([&](Outcome& outcome) {
      trials.from({places, weights_, light_, only_fine}, outcome);
    });
  };
  best_.quality = -1.0;
  tryFrom(last_, false);
  const double standing = best_.quality;
  bool moves = false;
  if (best_.quality < kGood && !before_.empty()) {
    fit_motion_(before_, last_, weights_, Affine{}).map(last_, ahead_);
    tryFrom(ahead_, false);
    moves = best_.quality > standing;
  }
  if (best_.quality < kGood) tryFrom(moves ? ahead_ : last_, true);
  if (best_.quality < kPoor && !trials.isOver()) {
    const double reach = 1.0 + kReachGrowth * std::min(lost_, kMostGrowth);
    consider([&](Outcome& outcome) {
      trials.near({last_, weights_, light_, false}, reach, outcome);
    });
  }
  const bool turn = trials.isLimited() || (lost_ - kPatience) % kBetweenSearches == 0;
  if (best_.quality < kBelieved && lost_ >= kPatience && turn && !trials.isOver()) {
    consider([&](Outcome& outcome) {
      trials.anywhere(outcome);
      if (outcome.quality < kFound) outcome.quality = -1.0;
    });
  }
}

void Following::accept(FrameOutcome& frame) {
  frame.places = best_.places;
  frame.trust = best_.trust;
  frame.points.resize(frame.places.size());
  frame.quality = best_.quality;
  for (std::size_t p = 0; p < frame.places.size(); ++p) {
    const bool followed = frame.trust[p] >= kTrusted;
    frame.points[p] = followed ? PointOutcome::kFollowed : PointOutcome::kPlacedByShape;
    if (!followed) frame.places[p] = best_.expected[p];
  }
  std::swap(before_, last_);
  if (lost_ > 0) before_.clear();
  last_ = frame.places;
  weights_ = frame.trust;
  light_ = best_.light;
  for (double& weight : weights_) weight = std::max(weight, kLeastWeight);
  lost_ = 0;
  if (!doubtful_) return;
  // Found where it may not be: said when the next frame has agreed.
  frame.points.assign(frame.places.size(), PointOutcome::kLost);
  frame.trust.assign(frame.places.size(), 0.0);
}

void Following::lose(std::size_t points, FrameOutcome& frame) {
  ++lost_;
  before_.clear();
  constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
  frame.places = last_;
  frame.places.resize(points, {kNowhere, kNowhere});
  frame.trust.assign(points, 0.0);
  frame.points.assign(points, PointOutcome::kLost);
  frame.quality = 0.0;
}

}  // namespace remora
