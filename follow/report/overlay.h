// Pictures of tracked points.
#pragma once

#include <cstddef>

#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/picture.h"

namespace remora {

// So many frames before the drawn one are needed for its trails.
constexpr std::size_t kTrailFrames = 12;

// Draws one of the tracks' frames on its picture: for each point its name, the way that it came in
// the last frames, and a mark that tells its status by shape and colour: a green to yellow cross,
// the less certain the more yellow, where it is tracked, an orange square where it is occluded, a
// red X where it is lost. Small pictures are enlarged.
REMORA_FOLLOW_EXPORT Picture drawOverlay(const Picture& frame, const Tracks& tracks,
                                         std::size_t index);

}  // namespace remora
