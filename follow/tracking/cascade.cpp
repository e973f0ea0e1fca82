#include "follow/tracking/cascade.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace remora {
namespace {

constexpr double kFarthest = 1e5;  // canvas pixels; a point beyond has no place any more

Point pixelOf(const double* at) { return {std::floor(at[0]), std::floor(at[1])}; }

void moveToMiddle(double* at) {
  at[0] = std::floor(at[0]) + 0.5;
  at[1] = std::floor(at[1]) + 0.5;
}

// How close to the middle of the pixel that it started in a step must lead to be the last of its
// stage, in pixels of the level. From the same pixel a further step leads to the same place; before
// the last stage some more is close enough for what comes next.
double closeEnough(std::size_t stage, std::size_t stages) {
  if (stage + 1 == stages) return 0.5;
  return stage == 0 ? 1.0 : 0.75;
}

bool isNear(const Point& now, const Point& pixel, double close) {
  return std::abs(now.x - (pixel.x + 0.5)) < close && std::abs(now.y - (pixel.y + 0.5)) < close;
}

std::vector<int> reachesOf(const FastShapeTracker& stage) {
  std::vector<int> reaches;
  for (int p = 0; p < stage.num_points; ++p) {
    const FastLP& point = *stage.all_flp[p];
    const double reach = std::max(point.x_rad, point.y_rad);
    reaches.push_back(static_cast<int>(std::min(std::ceil(reach), kFarthest)));
  }
  return reaches;
}

}  // namespace

void moveToPixelMiddles(FastShapeTracker& tracker) {
  for (int p = 0; p < tracker.num_points; ++p) moveToMiddle(tracker.all_pos[p]);
}

Cascade::Cascade(const ModelDescription& model, const Stages& stages)
    : description_(model), model_(*model.following) {
  for (const Stage& stage : model.stages) levels_.push_back(stage.level);
  for (const auto& stage : stages) {
    reaches_.push_back(reachesOf(*stage));
    for (int p = 0; p < stage->num_points; ++p) {
      samples_ += stage->all_flp[p]->num_sp_x + stage->all_flp[p]->num_sp_y;
    }
  }
  drawings_.reserve(kLevels);  // a copy of a drawing would have no room left
  for (int l = 0; l < kLevels; ++l) drawings_.emplace_back(model_.levels[l], model_.regions[l]);
  moved_.reserve(model.point_names.size());
  pixels_.resize(model.point_names.size());
  patch_.reserve(kPatchSize);
}

void Cascade::begin(const GreyView& picture, const Affine& pose, int level, const Shape& places,
                    std::size_t stage) {
  Drawing& drawing = drawings_[static_cast<std::size_t>(level)];
  drawing.begin(picture, pose);
  for (std::size_t p = 0; p < places.size(); ++p) {
    wantAround(drawing, model_.levels[level].toLevel(places[p]), reaches_[stage][p]);
  }
  drawing.draw();
  light = drawing.adjust(light);
}

void Cascade::predict(std::size_t stage, const Selection& points, Shape& places) {
  const Level& level = model_.levels[levelOf(stage)];
  FastShapeTracker& tracker = *(*stages_)[stage];
  for (std::size_t p = 0; p < places.size(); ++p) {
    const Point at = level.toLevel(places[p]);
    tracker.all_pos[p][0] = at.x;
    tracker.all_pos[p][1] = at.y;
  }
  // A point's place is the one where it stops: a step of all points together moves it on, over
  // pixels that nobody has asked for.
  const auto stop = [&](std::size_t p) {
    const double* const at = tracker.all_pos[p];
    const Point place = level.toCanvas({at[0], at[1]});
    const bool exists = std::abs(place.x) < kFarthest && std::abs(place.y) < kFarthest;
    places[p] = exists ? place : model_.shape.mean()[p];
  };
  moved_ = points;
  for (int i = 0; i < description_.stages[stage].steps && !moved_.empty(); ++i) {
    for (const std::size_t p : moved_) pixels_[p] = pixelOf(tracker.all_pos[p]);
    step(stage, moved_);
    const auto stays = [&](std::size_t p) {
      const Point at{tracker.all_pos[p][0], tracker.all_pos[p][1]};
      if (!isNear(at, pixels_[p], closeEnough(stage, levels_.size()))) return false;
      stop(p);
      return true;
    };
    moved_.erase(std::remove_if(moved_.begin(), moved_.end(), stays), moved_.end());
  }
  for (const std::size_t p : moved_) stop(p);
}

// One step. That of all points together takes half the time a point, and leads to the same places.
void Cascade::step(std::size_t stage, const Selection& points) {
  FastShapeTracker& tracker = *(*stages_)[stage];
  Drawing& drawing = drawings_[static_cast<std::size_t>(levelOf(stage))];
  for (const std::size_t p : points) {
    moveToMiddle(tracker.all_pos[p]);
    wantAround(drawing, {tracker.all_pos[p][0], tracker.all_pos[p][1]}, reaches_[stage][p]);
  }
  drawing.draw();
  if (2 * points.size() < static_cast<std::size_t>(tracker.num_points)) {
    for (const std::size_t p : points) tracker.all_flp[p]->Predict(drawing.pixels());
    return;
  }
  moveToPixelMiddles(tracker);
  tracker.Predict(drawing.pixels());
}

void Cascade::wantPatches(int level, const Selection& points, const Shape& places) {
  Drawing& drawing = drawings_[static_cast<std::size_t>(level)];
  for (const std::size_t p : points) {
    const Point at = model_.levels[level].toLevel(places[p]);
    if (isInside(level, at)) wantAround(drawing, at, patchReach(patchStep(level)));
  }
  drawing.draw();
}

const Patch* Cascade::patchAt(int level, const Point& place) {
  const Level& l = model_.levels[level];
  const Point at = l.toLevel(place);
  if (!isInside(level, at)) return nullptr;
  samplePatch(drawings_[static_cast<std::size_t>(level)].pixels().data(), l.width, l.height, at,
              patchStep(level), patch_);
  normalise(patch_);
  return &patch_;
}

bool Cascade::isInside(int level, const Point& at) const {
  const Level& l = model_.levels[level];
  return at.x > 0.0 && at.y > 0.0 && at.x < l.width - 1.0 && at.y < l.height - 1.0;
}

void Cascade::wantAround(Drawing& drawing, const Point& at, int reach) const {
  if (!(std::abs(at.x) < kFarthest && std::abs(at.y) < kFarthest)) return;
  const int x = static_cast<int>(at.x);  // the pixel that a step looks around
  const int y = static_cast<int>(at.y);
  drawing.want({x - reach, y - reach, x + reach, y + reach});
}

}  // namespace remora
