// Training: annotated frames become a model folder.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "follow/export.h"
#include "follow/training/example.h"

namespace remora {

struct TrainingOptions {
  // Radii of the stages from coarse to fine, and the prediction steps that each takes a frame;
  // canvas pixels. Those given here suit shapes of every size, because the canvas is chosen so.
  std::vector<float> radii = {45.0F, 22.0F, 11.0F, 7.0F};
  std::vector<int> steps = {3, 2, 2, 2};
  int predictors = 60;  // a point, in each stage and coordinate
  int generations = 2;  // of evolution; more adapt too much to the training frames
  double scale = 0.0;   // canvas pixels a pixel of the frames; 0: chosen from the size of the shape
  unsigned seed = 1;    // of all random draws
  std::vector<std::string> point_names;  // none: the points are called 0, 1, 2 ...
};

// Told after each unit of work, of which there are `total`; the training ends with an Error when it
// returns false.
using TrainingProgress = std::function<bool(std::size_t done, std::size_t total)>;

// Trains a model that follows its shape and writes it into a folder, which is made where it is
// missing. The same examples and options give the same bytes everywhere. An earlier model there
// stays as it is until the new one is complete. The examples may differ in size; every one shows
// all points, at least one point.
//
// While it works, what the process prints to the C stream `stdout` is lost (the engine prints
// there, and is silenced); std::cout is not touched. The draws come from rand(), which is seeded
// for them: another thread that draws from it meanwhile changes the model.
//
// Throws Error, naming example and point, for positions that are not finite or not inside of their
// picture, for differing numbers of points, for options that cannot be, and for a folder that
// cannot be written.
REMORA_FOLLOW_EXPORT void train(const std::vector<Example>& examples,
                                const TrainingOptions& options, const std::string& folder,
                                const TrainingProgress& progress = nullptr);

}  // namespace remora
