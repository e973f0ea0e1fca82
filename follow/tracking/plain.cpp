#include "follow/tracking/plain.h"

#include <cstddef>

#include "follow/base/text.h"
#include "follow/canvas/scaled_frame.h"
#include "follow/error.h"
#include "follow/tracking/attempt.h"

namespace remora {

Shape plainStart(const LoadedModel& model, const GreyImage& picture) {
  const ScaledFrame scaled(picture.width, picture.height, model.description().scale);
  const Shape start = scaled.toFrame(model.first());
  for (std::size_t p = 0; p < start.size(); ++p) {
    const Point& at = start[p];
    if (at.x >= 0.0 && at.x < picture.width && at.y >= 0.0 && at.y < picture.height) continue;
    throw Error(format("point %zu starts at (%.2f, %.2f), outside of a picture of %d x %d", p, at.x,
                       at.y, picture.width, picture.height));
  }
  return start;
}

Shape predictPlainly(const ModelDescription& model, Stages& stages, const GreyImage& picture,
                     const Shape& previous) {
  const ScaledFrame scaled(picture.width, picture.height, model.scale);
  CImg<float> frame = scaled.prepare(picture);
  Shape places = scaled.fromFrame(previous);
  for (std::size_t stage = 0; stage < stages.size(); ++stage) {
    FastShapeTracker& tracker = *stages[stage];
    for (std::size_t p = 0; p < places.size(); ++p) {
      tracker.SetPos(static_cast<int>(p), places[p].x, places[p].y);
    }
    for (int step = 0; step < model.stages[stage].steps; ++step) {
      moveToPixelMiddles(tracker);
      tracker.Predict(frame);
    }
    for (std::size_t p = 0; p < places.size(); ++p) {
      places[p] = {tracker.all_pos[p][0], tracker.all_pos[p][1]};
    }
  }
  return scaled.toFrame(places);
}

}  // namespace remora
