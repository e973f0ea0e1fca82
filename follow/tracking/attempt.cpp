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
constexpr double kDoubtful = 0.5;        // trust below which a point gets a second chance
constexpr std::size_t kFinalStages = 2;  // that a second chance runs
constexpr std::size_t kLeastForShape = 3;

double meanOf(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
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
  Shape places = pose_.inverse()(start.places);
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
  judge(kFine, places, trust_);
  distrustStrayed(places, trust_);
  secondChance(places);

  Outcome outcome;
  outcome.expected = pose_(model_.shape.fit(places, trust_, kFinalNoise));
  outcome.places = pose_(places);
  outcome.trust = trust_;
  outcome.quality = meanOf(trust_);
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

void Attempts::judge(int level, const Shape& places, std::vector<double>& trust) {
  const Level& at = model_.levels[level];
  for (std::size_t p = 0; p < places.size(); ++p) {
    const Point place = at.toLevel(places[p]);
    const bool inside =
        place.x > 0.0 && place.y > 0.0 && place.x < at.width - 1.0 && place.y < at.height - 1.0;
    trust[p] = 0.0;
    if (!inside) continue;
    samplePatch(canvases_[level].data(), at.width, at.height, place, patchStep(level), patch_);
    normalise(patch_);
    trust[p] = trustOf(model_.looks[level][p].agreement(patch_));
  }
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
    trust[p] *= std::clamp(2.0 - strayed / leewayOf(p), 0.0, 1.0);
  }
}

// Points that went astray are tried again from where the others say they are.
void Attempts::secondChance(Shape& places) {
  if (std::none_of(trust_.begin(), trust_.end(), [](double t) { return t < kDoubtful; })) return;
  const Shape expected = model_.shape.fit(places, trust_, kFinalNoise);
  Shape again = places;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (trust_[p] < kDoubtful) again[p] = expected[p];
  }
  const std::size_t first = stages_.size() - std::min(stages_.size(), kFinalStages);
  for (std::size_t s = first; s < stages_.size(); ++s) {
    if (levelOf(s) == kFine) predict(s, again);
  }
  std::vector<double> trust = trust_;
  judge(kFine, again, trust);
  for (std::size_t p = 0; p < places.size(); ++p) {
    const double strayed = std::sqrt(squaredDistance(expected[p], again[p]));
    trust[p] *= std::clamp(2.0 - strayed / leewayOf(p), 0.0, 1.0);
    if (trust_[p] < kDoubtful && trust[p] > trust_[p]) {
      trust_[p] = trust[p];
      places[p] = again[p];
    }
  }
}

}  // namespace remora
