// Drawing tracks on their footage, for verbs that do.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "follow/footage/footage.h"
#include "follow/footage/frame_choice.h"
#include "follow/render/tracks_drawing.h"

namespace remora::tools {

struct RenderRequest {
  std::string tracks;
  Footage footage;
  std::string output;
  FrameChoice frames;
  DrawingStyle style;       // but for lines, which need the names of the tracks
  std::string lines;        // NAME-NAME,...
  std::string annotations;  // a file that has lines
  bool numbers = true;      // of frames
  double slow = 1.0;
  double rate = 25.0;  // frames a second where no times are known
};

// Throws Error when it cannot be done; nothing is written then.
void render(const RenderRequest& request);

// Pairs of points; throws Misuse for names that are not among these.
using PointLines = std::vector<std::pair<std::size_t, std::size_t>>;
PointLines parseLines(const std::string& text, const std::vector<std::string>& names);

// WIDTHxHEIGHT+LEFT+TOP. Throws Misuse.
Crop parseCrop(const std::string& text);

}  // namespace remora::tools
