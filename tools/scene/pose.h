// Where the fish as a whole lies in the picture.
#pragma once

#include "follow/annotation/shape.h"
#include "scene/moment.h"

namespace remora::tools::scene {

constexpr int kWidth = 400;
constexpr int kHeight = 300;
constexpr Point kMiddle = {kWidth / 2.0, kHeight / 2.0};

struct Pose {
  Point centre;
  double angle;
  double scale;
};

// On the spot, but for a sway.
inline Pose swayingPose(const Moment& moment) {
  return {{kMiddle.x + moment.sway(25.0, 89.3), kMiddle.y + moment.sway(16.0, 73.7)},
          moment.sway(0.12, 87.1),
          1.0 + moment.sway(0.06, 101.3)};
}

}  // namespace remora::tools::scene
