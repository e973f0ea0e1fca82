// What the fish looks like: its outlines and markings, the feature points among them.
#pragma once

#include <vector>

#include "scene/fish_shape.h"
#include "scene/noise.h"
#include "scene/paint.h"

namespace remora::tools::scene {

struct Mark {
  const char* name;
  BodyPoint place;
};

// The feature points.
std::vector<Mark> marks();

// About how many pixels a place lies inside the outline; negative: outside.
double insideFish(const BodyPoint& p);

class FishSkin {
 public:
  explicit FishSkin(unsigned seed);

  Paint at(const BodyPoint& p) const;

 private:
  Noise texture_;
  Noise blotches_;
};

}  // namespace remora::tools::scene
