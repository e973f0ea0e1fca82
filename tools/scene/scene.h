// A synthetic picture sequence with exactly known feature points: a fish, seen from above, that
// swims on the spot over a drifting sea bottom. The body translates, turns, grows and shrinks a
// little and bends with a travelling wave, under light that changes slowly.
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/footage/image.h"
#include "scene/variant.h"

namespace remora::tools {

// Of the points in the order of Scene::pointNames().
struct SceneTruth {
  Shape points;
  std::vector<bool> hidden;  // behind something in front of the fish
};

struct SceneFrame : SceneTruth {
  int width;
  int height;
  std::vector<unsigned char> grey;  // row by row, from the top left pixel

  Image view() const { return {grey.data(), width, height}; }
};

// A frame depends on the seed, the variant and the frame number only, never on the order of the
// calls. The seed chooses the textures, the noise and the phases of the motion.
class Scene {
 public:
  explicit Scene(unsigned seed, SceneVariant variant = SceneVariant::kPlain);

  static const std::vector<std::string>& pointNames();

  SceneTruth truth(int frame) const;

  SceneFrame render(int frame) const;

 private:
  unsigned seed_;
  SceneVariant variant_;
};

}  // namespace remora::tools
