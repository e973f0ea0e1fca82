#include "follow/tracking/attempt.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace remora {
namespace {

constexpr double kTurned = 1.0;      // canvas pixels, of what lies as far out as the shape is large
constexpr double kStrayed = 15.0;    // canvas pixels from where the shape has a point
constexpr double kRoughNoise = 3.0;  // canvas pixels, of points between stages
constexpr double kFinalNoise = 1.5;  // and after the last
constexpr double kLeastTrust = 0.02;     // between stages: even a doubtful point says something
constexpr double kSmallLeeway = 0.04;    // of the shape's size
constexpr double kLeewayFactor = 3.0;    // of what is usual
constexpr double kHalfLeeway = 0.7;      // of a point of which half is seen
constexpr double kMemory = 0.05;         // weight of the place on the canvas before
constexpr double kMostTrusted = 0.35;    // mean trust from which the canvas is where it was before
constexpr double kNothing = 0.05;        // mean trust
constexpr double kDoubtful = 0.5;        // trust below which a point gets a second chance
constexpr std::size_t kFinalStages = 2;  // that a second chance runs
constexpr std::size_t kLeastForShape = 3;

double meanOf(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

// 1 up to the leeway, none from twice as far.
double closeness(double strayed, double leeway) {
  return std::clamp(2.0 - strayed / leeway, 0.0, 1.0);
}

}  // namespace

Attempts::Attempts(const ModelDescription& model, Stages& stages)
    : model_(*model.following), cascade_(model, stages), all_(model.point_names.size()) {
  cascade_.use(stages);
  std::iota(all_.begin(), all_.end(), std::size_t{0});
  doubtful_.reserve(all_.size());
  for (Shape* shape : {&before_, &places_, &expected_, &again_, &seen_})
    shape->reserve(all_.size());
  for (std::vector<double>* list : {&trust_, &weights_}) list->reserve(all_.size());
}

Outcome Attempts::run(const GreyView& picture, const Start& start) {
  Outcome outcome;
  run(picture, start, outcome);
  return outcome;
}

void Attempts::run(const GreyView& picture, const Start& start, Outcome& outcome) {
  pose_ = fit_pose_(model_.shape.mean(), start.places, start.weights, model_.usual);
  cascade_.light = start.light;
  pose_.inverse().map(start.places, before_);
  places_ = before_;
  trust_.assign(places_.size(), 1.0);
  runStages(picture, start.only_fine && cascade_.numStages() > 1 ? 1 : 0);
  judge(kFine);
  distrustStrayed();
  secondChance();

  outcome.quality = meanOf(trust_);
  trustHalves();
  pose_.map(expected_, outcome.expected);
  pose_.map(places_, outcome.places);
  outcome.trust = trust_;
  outcome.light = cascade_.light;
}

// Ends on the fine level, whatever the last stage's is.
void Attempts::runStages(const GreyView& picture, std::size_t first) {
  const std::size_t last = cascade_.numStages() - 1;
  cascade_.begin(picture, pose_, cascade_.levelOf(first), places_, first);
  for (std::size_t stage = first; stage <= last; ++stage) {
    cascade_.predict(stage, all_, places_);
    const int level = cascade_.levelOf(stage);
    const int next = stage < last ? cascade_.levelOf(stage + 1) : kFine;
    if (stage == last && level == next) return;
    const bool again = level != next || (stage == first && isTurned());
    if (again) {
      judge(level);
      lookAgain(picture, next, std::min(stage + 1, last));
    }
    if (allNearMean()) continue;
    if (!again) judge(level);
    bringStrayedBack();
  }
}

// Whether the canvas shows the shape in another turn or size than it should.
bool Attempts::isTurned() {
  pose_.map(places_, seen_);
  const Affine now = pose_.inverse() * fit_pose_(model_.shape.mean(), seen_, trust_, pose_);
  const double turned = std::max(std::abs(now.xx - 1.0) + std::abs(now.xy),
                                 std::abs(now.yx) + std::abs(now.yy - 1.0));
  return turned * model_.size > kTurned;
}

// Takes the pose from where the points are now.
void Attempts::lookAgain(const GreyView& picture, int level, std::size_t stage) {
  pose_.map(places_, seen_);
  for (double& trust : trust_) trust = std::max(trust, kLeastTrust);
  pose_ = fit_pose_(model_.shape.mean(), seen_, trust_, pose_);
  pose_.inverse().map(seen_, places_);
  cascade_.begin(picture, pose_, level, places_, stage);
}

void Attempts::judge(int level) {
  cascade_.look(level, all_, places_, [&](std::size_t p, const Patch* patch) {
    trust_[p] = patch == nullptr ? 0.0 : trustOf(model_.looks[level][p].agreement(*patch));
  });
}

// Then none can be far from where the others have it.
bool Attempts::allNearMean() const {
  return std::all_of(all_.begin(), all_.end(), [&](std::size_t p) {
    return 4.0 * squaredDistance(places_[p], model_.shape.mean()[p]) < kStrayed * kStrayed;
  });
}

void Attempts::bringStrayedBack() {
  weights_ = trust_;
  for (double& value : weights_) value = std::max(value, kLeastTrust);
  model_.shape.fit(places_, weights_, kRoughNoise, expected_);
  for (const std::size_t p : all_) {
    if (strayed(places_[p], p) > kStrayed) places_[p] = expected_[p];
  }
}

// What looks right in the wrong place, along an edge for example.
void Attempts::distrustStrayed() {
  if (places_.size() < kLeastForShape) return;
  model_.shape.fit(places_, trust_, kFinalNoise, expected_);
  for (const std::size_t p : all_) {
    trust_[p] *= closeness(strayed(places_[p], p), leewayOf(p));
  }
}

// Where the shape has each point. Where most points are trusted, those that are not are kept near
// where they were on the canvas: beyond something that hides their neighbours, the shape alone says
// little of them.
void Attempts::findExpected() {
  seen_ = places_;
  weights_ = trust_;
  const bool remembers = meanOf(trust_) >= kMostTrusted;
  for (const std::size_t p : all_) {
    if (!remembers || trust_[p] >= kMemory) continue;
    seen_[p] = before_[p];
    weights_[p] = kMemory;
  }
  model_.shape.fit(seen_, weights_, kFinalNoise, expected_);
}

// Points that went astray are tried again from where the others say they are, and from where they
// were on the canvas before.
void Attempts::secondChance() {
  // Where hardly anything is seen, there are no others.
  if (!selectDoubtful() || meanOf(trust_) < kNothing) {
    expected_ = places_;
    return;
  }
  findExpected();
  tryAgain(expected_);
  if (selectDoubtful()) tryAgain(before_);
  findExpected();
}

bool Attempts::selectDoubtful() {
  doubtful_.clear();
  for (const std::size_t p : all_) {
    if (trust_[p] < kDoubtful) doubtful_.push_back(p);
  }
  return !doubtful_.empty();
}

void Attempts::tryAgain(const Shape& from) {
  again_ = places_;
  for (const std::size_t p : doubtful_) again_[p] = from[p];
  const std::size_t stages = cascade_.numStages();
  for (std::size_t s = stages - std::min(stages, kFinalStages); s < stages; ++s) {
    if (cascade_.levelOf(s) == kFine) cascade_.predict(s, doubtful_, again_);
  }
  cascade_.look(kFine, doubtful_, again_, [&](std::size_t p, const Patch* patch) {
    if (patch == nullptr) return;
    const double trust = trustOf(model_.looks[kFine][p].agreement(*patch)) *
                         closeness(strayed(again_[p], p), leewayOf(p));
    if (trust <= trust_[p]) return;
    trust_[p] = trust;
    places_[p] = again_[p];
  });
}

// A point at the edge of something that hides its neighbourhood is trusted for the half of it that
// is seen, close to where the others say it is. Only in the end: on the way, and where attempts are
// compared, such a half misleads.
void Attempts::trustHalves() {
  selectDoubtful();
  if (meanOf(trust_) < kNothing) return;
  cascade_.look(kFine, doubtful_, places_, [&](std::size_t p, const Patch* patch) {
    const double close = closeness(strayed(places_[p], p), kHalfLeeway * leewayOf(p));
    if (patch == nullptr || close <= trust_[p]) return;
    const double trust = trustOf(model_.looks[kFine][p].agreementOfHalf(*patch));
    trust_[p] = std::max(trust_[p], trust * close);
  });
}

double Attempts::leewayOf(std::size_t point) const {
  return kSmallLeeway * model_.size + kLeewayFactor * model_.leeway[point];
}

double Attempts::strayed(const Point& place, std::size_t point) const {
  return std::sqrt(squaredDistance(place, expected_[point]));
}

}  // namespace remora
