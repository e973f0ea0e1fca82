// Pictures of tracked points: a cross, the name and a short trail for each point on the frame.
#pragma once

#include <string>

#include "cimg/CImg.h"
#include "common/tracks.h"

namespace remora::tools {

// `frame` as loaded, and which of the tracks' frames it is. Small frames are shown enlarged.
CImg<unsigned char> drawOverlay(const CImg<float>& frame, const Tracks& tracks, std::size_t index);

void savePng(const CImg<unsigned char>& picture, const std::string& file);

}  // namespace remora::tools
