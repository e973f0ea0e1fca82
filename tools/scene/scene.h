// A synthetic picture sequence with exactly known feature points: a fish, seen from above, that
// swims on the spot over a drifting sea bottom. The body translates, turns, grows and shrinks a
// little and bends with a travelling wave, under light that changes slowly.
#pragma once

#include <string>
#include <vector>

#include "common/shapes.h"

namespace remora::tools {

struct SceneFrame {
  int width;
  int height;
  std::vector<unsigned char> grey;  // row by row, from the top left pixel
  Shape points;                     // true positions, in the order of Scene::pointNames()
};

// A frame depends on the seed and the frame number only, never on the order of the calls.
// The seed chooses the textures, the noise and the phases of the motion.
class Scene {
 public:
  explicit Scene(unsigned seed);

  static const std::vector<std::string>& pointNames();

  SceneFrame render(int frame) const;

 private:
  unsigned seed_;
};

}  // namespace remora::tools
