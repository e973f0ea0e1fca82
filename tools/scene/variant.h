// What makes a scene hard to track, one thing at a time.
#pragma once

#include <array>

namespace remora::tools {

// Up to frame 119 every variant is about as mild as the plain scene; what it is named after then
// grows until frame 239.
enum class SceneVariant {
  kPlain,
  kLight,  // contrast, brightness, a slanting gradient and flicker
  kTurn,   // in the plane of the picture
  kZoom,
  kTilt,  // out of the plane, in perspective
  kHide,  // planks pass in front of the fish
  kFast,  // the fish circles
  kNoise  // of the sensor
};

struct NamedVariant {
  const char* name;
  SceneVariant variant;
};

constexpr std::array<NamedVariant, 8> kSceneVariants = {{{"plain", SceneVariant::kPlain},
                                                         {"light", SceneVariant::kLight},
                                                         {"turn", SceneVariant::kTurn},
                                                         {"zoom", SceneVariant::kZoom},
                                                         {"tilt", SceneVariant::kTilt},
                                                         {"hide", SceneVariant::kHide},
                                                         {"fast", SceneVariant::kFast},
                                                         {"noise", SceneVariant::kNoise}}};

}  // namespace remora::tools
