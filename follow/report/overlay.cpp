#include "follow/report/overlay.h"

#include "follow/render/tracks_drawing.h"

namespace remora {

Picture drawOverlay(const Picture& frame, const Tracks& tracks, std::size_t index) {
  return TracksDrawing().draw(frame, tracks, index);
}

}  // namespace remora
