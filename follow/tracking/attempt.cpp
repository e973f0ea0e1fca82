#include "follow/tracking/attempt.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "follow/canvas/pose.h"

namespace remora {
namespace {

constexpr double kFarthest = 1e5;        // canvas pixels; a point beyond has no place any more
constexpr double kStrayed = 15.0;        // canvas pixels from where the shape has a point
constexpr double kRoughNoise = 3.0;      // canvas pixels, of points between stages
constexpr double kFinalNoise = 1.5;      // and after the last
constexpr double kLeastTrust = 0.02;     // between stages: even a doubtful point says something
constexpr double kSmallLeeway = 0.04;    // of the shape's size
constexpr double kLeewayFactor = 3.0;    // of what is usual
constexpr double kHalfLeeway = 0.7;      // of a point of which half is seen
constexpr double kMemory = 0.05;         // weight of the place on the canvas before
constexpr double kMostTrusted = 0.35;    // mean trust from which the canvas is where it was before
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

void moveToPixelMiddles(FastShapeTracker& tracker) {
  for (int p = 0; p < tracker.num_points; ++p) {
    double* const at = tracker.all_pos[p];
    at[0] = std::floor(at[0]) + 0.5;
    at[1] = std::floor(at[1]) + 0.5;
  }
}

Attempts::Attempts(const ModelDescription& model, Stages& stages)
    : description_(model), model_(*model.following), stages_(stages) {
  for (int i = 0; i < kLevels; ++i) {
    const Level& level = model_.levels[i];
    canvases_[i].assign(static_cast<unsigned>(level.width), static_cast<unsigned>(level.height), 1,
                        1, 0.0F);
  }
}

Outcome Attempts::run(const GreyView& picture, const Start& start) {
  pose_ = fitPose(model_.shape.mean(), start.places, start.weights, model_.usual);
  light_ = start.light;
  before_ = pose_.inverse()(start.places);
  Shape places = before_;
  trust_.assign(places.size(), 1.0);
  std::size_t stage = 0;
  while (start.only_fine && stage + 1 < stages_.size() && levelOf(stage) != kFine) ++stage;
  int level = levelOf(stage);
  paint(picture, level);
  for (; stage < stages_.size(); ++stage) {
    if (levelOf(stage) != level) {
      judge(level, places, trust_);
      level = levelOf(stage);
      lookAgain(picture, level, places);
      bringStrayedBack(places);
    }
    predict(stage, places);
    if (level == kFine && stage + 1 < stages_.size()) {
      judge(level, places, trust_);
      bringStrayedBack(places);
    }
  }
  if (level != kFine) {
    judge(level, places, trust_);
    lookAgain(picture, kFine, places);
  }
  judge(kFine, places, trust_);
  distrustStrayed(places, trust_);
  secondChance(places);

  Outcome outcome;
  const Shape expected = expectedOf(places);
  outcome.expected = pose_(expected);
  outcome.places = pose_(places);
  outcome.quality = meanOf(trust_);
  trustHalves(places, expected);
  outcome.trust = trust_;
  outcome.light = light_;
  return outcome;
}

void Attempts::paint(const GreyView& picture, int level) {
  light_ = painter_.paint(picture, pose_, model_.levels[level], model_.regions[level], light_,
                          canvases_[level].data());
}

void Attempts::predict(std::size_t stage, Shape& places) {
  const Level& level = model_.levels[levelOf(stage)];
  FastShapeTracker& tracker = *stages_[stage];
  for (std::size_t p = 0; p < places.size(); ++p) {
    const Point at = level.toLevel(places[p]);
    tracker.SetPos(static_cast<int>(p), at.x, at.y);
  }
  for (int step = 0; step < description_.stages[stage].steps; ++step) {
    moveToPixelMiddles(tracker);
    tracker.Predict(canvases_[levelOf(stage)]);
  }
  for (std::size_t p = 0; p < places.size(); ++p) {
    const double* const at = tracker.all_pos[p];
    const Point place = level.toCanvas({at[0], at[1]});
    const bool exists = std::abs(place.x) < kFarthest && std::abs(place.y) < kFarthest;
    places[p] = exists ? place : model_.shape.mean()[p];
  }
}

// Takes the pose from where the points are now.
void Attempts::lookAgain(const GreyView& picture, int level, Shape& places) {
  const Shape seen = pose_(places);
  for (double& trust : trust_) trust = std::max(trust, kLeastTrust);
  pose_ = fitPose(model_.shape.mean(), seen, trust_, pose_);
  places = pose_.inverse()(seen);
  paint(picture, level);
}

void Attempts::bringStrayedBack(Shape& places) const {
  std::vector<double> trust = trust_;
  for (double& value : trust) value = std::max(value, kLeastTrust);
  const Shape expected = model_.shape.fit(places, trust, kRoughNoise);
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (squaredDistance(places[p], expected[p]) > kStrayed * kStrayed) places[p] = expected[p];
  }
}

// The neighbourhood of a place, or nothing where it is beyond the canvas.
const Patch* Attempts::look(int level, const Point& canvas_place) {
  const Level& at = model_.levels[level];
  const Point place = at.toLevel(canvas_place);
  const bool inside =
      place.x > 0.0 && place.y > 0.0 && place.x < at.width - 1.0 && place.y < at.height - 1.0;
  if (!inside) return nullptr;
  samplePatch(canvases_[level].data(), at.width, at.height, place, patchStep(level), patch_);
  normalise(patch_);
  return &patch_;
}

void Attempts::judge(int level, const Shape& places, std::vector<double>& trust) {
  for (std::size_t p = 0; p < places.size(); ++p) {
    const Patch* const patch = look(level, places[p]);
    trust[p] = patch == nullptr ? 0.0 : trustOf(model_.looks[level][p].agreement(*patch));
  }
}

// A point at the edge of something that hides its neighbourhood is trusted for the half of it that
// is seen, close to where the others say it is. Only in the end: on the way, and where attempts are
// compared, such a half misleads.
void Attempts::trustHalves(const Shape& places, const Shape& expected) {
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (trust_[p] >= kDoubtful) continue;
    const Patch* const patch = look(kFine, places[p]);
    if (patch == nullptr) continue;
    const double trust = trustOf(model_.looks[kFine][p].agreementOfHalf(*patch));
    const double strayed = std::sqrt(squaredDistance(expected[p], places[p]));
    trust_[p] = std::max(trust_[p], trust * closeness(strayed, kHalfLeeway * leewayOf(p)));
  }
}

// Where the shape has each point. Where most points are trusted, those that are not are kept near
// where they were on the canvas: beyond something that hides their neighbours, the shape alone says
// little of them.
Shape Attempts::expectedOf(const Shape& places) const {
  if (meanOf(trust_) < kMostTrusted) return model_.shape.fit(places, trust_, kFinalNoise);
  Shape seen = places;
  std::vector<double> weights = trust_;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (trust_[p] >= kMemory) continue;
    seen[p] = before_[p];
    weights[p] = kMemory;
  }
  return model_.shape.fit(seen, weights, kFinalNoise);
}

double Attempts::leewayOf(std::size_t point) const {
  return kSmallLeeway * model_.size + kLeewayFactor * model_.leeway[point];
}

// What looks right in the wrong place, along an edge for example.
void Attempts::distrustStrayed(const Shape& places, std::vector<double>& trust) const {
  if (places.size() < kLeastForShape) return;
  const Shape expected = model_.shape.fit(places, trust, kFinalNoise);
  for (std::size_t p = 0; p < places.size(); ++p) {
    const double strayed = std::sqrt(squaredDistance(expected[p], places[p]));
    trust[p] *= closeness(strayed, leewayOf(p));
  }
}

bool Attempts::anyDoubtful() const {
  return std::any_of(trust_.begin(), trust_.end(), [](double t) { return t < kDoubtful; });
}

// Points that went astray are tried again from where the others say they are, and from where they
// were on the canvas before.
void Attempts::secondChance(Shape& places) {
  if (!anyDoubtful()) return;
  const Shape expected = expectedOf(places);
  tryAgain(expected, expected, places);
  if (anyDoubtful()) tryAgain(before_, expected, places);
}

void Attempts::tryAgain(const Shape& from, const Shape& expected, Shape& places) {
  Shape again = places;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (trust_[p] < kDoubtful) again[p] = from[p];
  }
  const std::size_t first = stages_.size() - std::min(stages_.size(), kFinalStages);
  for (std::size_t s = first; s < stages_.size(); ++s) {
    if (levelOf(s) == kFine) predict(s, again);
  }
  std::vector<double> trust = trust_;
  judge(kFine, again, trust);
  for (std::size_t p = 0; p < places.size(); ++p) {
    const double strayed = std::sqrt(squaredDistance(expected[p], again[p]));
    trust[p] *= closeness(strayed, leewayOf(p));
    if (trust_[p] < kDoubtful && trust[p] > trust_[p]) {
      trust_[p] = trust[p];
      places[p] = again[p];
    }
  }
}

}  // namespace remora
