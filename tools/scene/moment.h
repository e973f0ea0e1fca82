// The time of a frame: how far the motions of the scene have come.
#pragma once

#include "scene/curves.h"
#include "scene/noise.h"

namespace remora::tools::scene {

// Periods are in frames. A period belongs to one quantity only, as it names its random phase.
struct Moment {
  unsigned seed;
  int frame;

  // Angle of a steady oscillation.
  double phase(double period) const {
    const std::int64_t name = std::lround(10.0 * period);
    return kTwoPi * (frame / period + randomUnit(streamKey(seed, Stream::kMotion), name, 0));
  }

  // Slow, about zero; the ratio of its periods is so far from simple that it does not repeat.
  double sway(double amplitude, double period) const {
    return amplitude * (std::sin(phase(period)) + 0.3 * std::sin(phase(0.618 * period)));
  }
};

}  // namespace remora::tools::scene
