// Footage in memory whose points are known in every frame.
#pragma once

#include <string>
#include <vector>

#include "follow/footage/image.h"
#include "follow/report/evaluation.h"
#include "scene/variant.h"

namespace remora::bench {

// Frames from number 0 on; the truth has all points of each.
struct Footage {
  std::vector<GreyImage> frames;
  Truth truth;

  int numFrames() const { return static_cast<int>(frames.size()); }
  std::size_t numPoints() const { return truth.annotations.names.size(); }
  const GreyImage& frame(int number) const { return frames[static_cast<std::size_t>(number)]; }
  const Shape& shape(int number) const {
    return truth.annotations.frames[static_cast<std::size_t>(number)].points;
  }

  void add(GreyImage frame, Shape shape);
};

// Reads FOLDER/NAME.nnnnn.png and FOLDER/truth.txt, a shape sequence file.
Footage loadRecording(const std::string& folder, const std::string& name);

// A whole scene: from the folder where remora_render_scene has left it, if it is there and what
// would be rendered today, or else rendered.
Footage sceneFootage(tools::SceneVariant variant, unsigned seed, const std::string& folder);

// So many frames at even distances, from the first to the last.
Footage excerptOf(const Footage& footage, int frames);

}  // namespace remora::bench
