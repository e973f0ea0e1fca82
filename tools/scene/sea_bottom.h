// The sea bottom: rippled sand with pebbles, which drifts through the picture.
#pragma once

#include "follow/annotation/shape.h"
#include "scene/moment.h"
#include "scene/noise.h"

namespace remora::tools::scene {

class SeaBottom {
 public:
  explicit SeaBottom(const Moment& moment);

  // Grey level at a place of the picture, before the light of the frame.
  double at(const Point& picture) const;

 private:
  Point drift_;
  Noise sand_;
  Noise warp_;  // of ripples and pebbles
  std::uint64_t pebbles_;
};

}  // namespace remora::tools::scene
