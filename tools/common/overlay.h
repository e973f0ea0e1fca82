// Pictures of tracked points: a cross, the name and a short trail for each point on the frame.
#pragma once

#include "cimg/CImg.h"
#include "common/tracks.h"

namespace remora::tools {

// `frame` as loaded, and which of the tracks' frames it is. Small frames are shown enlarged.
CImg<unsigned char> drawOverlay(const CImg<float>& frame, const Tracks& tracks, std::size_t index);

}  // namespace remora::tools
