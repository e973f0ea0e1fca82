#include "follow/tracking/plain.h"

#include <algorithm>

#include "follow/canvas/scaled_frame.h"
#include "follow/tracking/attempt.h"

namespace remora {

Shape predictPlainly(const ModelDescription& model, Stages& stages, const GreyImage& picture,
                     const Shape& previous) {
  const ScaledFrame scaled(picture.width, picture.height, model.scale);
  CImg<float> frame(static_cast<unsigned>(picture.width), static_cast<unsigned>(picture.height), 1,
                    1);
  std::copy(picture.pixels.begin(), picture.pixels.end(), frame.data());
  frame = scaled.prepare(std::move(frame));
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
