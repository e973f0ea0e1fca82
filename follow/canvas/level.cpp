#include "follow/canvas/level.h"

namespace remora {

void CanvasPainter::paint(const GreyView& picture, const Affine& pose, const Level& level,
                          float* out) {
  scratch_.resize(level.size());
  warp(picture, pose * level.map(), level.width, level.height, out);
  smooth(out, level.width, level.height, scratch_.data());
}

Brightness CanvasPainter::paint(const GreyView& picture, const Affine& pose, const Level& level,
                                const Region& region, const Brightness& before, float* out) {
  paint(picture, pose, level, out);
  seen_.clear();
  for (const int place : region.places) seen_.push_back(out[place]);
  const Brightness brightness = fitBrightness(seen_, region.grey, before);
  for (std::size_t i = 0; i < level.size(); ++i) {
    out[i] = out[i] * brightness.gain + brightness.offset;
  }
  return brightness;
}

}  // namespace remora
