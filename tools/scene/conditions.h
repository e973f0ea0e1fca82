// What a frame is like, apart from what is in the picture: where the fish lies, the light on it,
// what is in front of it and how much the sensor adds.
#pragma once

#include <vector>

#include "follow/annotation/shape.h"
#include "scene/moment.h"
#include "scene/plank.h"
#include "scene/pose.h"
#include "scene/tilt.h"
#include "scene/variant.h"

namespace remora::tools::scene {

struct Light {
  double gain;  // in the middle of the picture
  Point slope;  // of the gain
  double offset;
};

struct Conditions {
  Pose pose;
  Light light;
  Tilt tilt;
  std::vector<Plank> planks;
  double noise = 0.0;    // standard deviation of what the sensor adds to its usual noise
  bool shrinks = false;  // textures may become finer than pixels
};

Conditions conditionsOf(SceneVariant variant, const Moment& moment);

}  // namespace remora::tools::scene
