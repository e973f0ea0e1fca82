// Preparation: what the stages of a following model are trained on, and all of the model that needs
// no stages.
#pragma once

#include <vector>

#include "cimg/CImg.h"
#include "follow/model/following_model.h"
#include "follow/training/completion.h"

namespace remora {

struct Preparation {
  FollowingModel model;       // without its calibration
  double scale = 1.0;         // canvas pixels a pixel of the frames, in the middle of the examples
  std::vector<Affine> poses;  // of each example, canvas to picture
  std::vector<CImg<float>> canvases[kLevels];  // of each example
  // Of each example, in pixels of the level; points that are not seen are no numbers.
  std::vector<Shape> shapes[kLevels];
};

// What of it is wanted: units are trained on the canvases alone, without what the model says of how
// points look and stray, which takes most of the time where there are many points.
enum class Prepared { kCanvases, kAll };

// `largest_radius` of the stages, in canvas pixels, says how far canvases reach beyond the shape;
// `scale` is chosen from the size of the shapes where it is 0.
// requires: at least one example; all shapes of one size, not empty
Preparation prepare(const std::vector<TrainingFrame>& examples, double scale, float largest_radius,
                    Prepared wanted = Prepared::kAll);

}  // namespace remora
