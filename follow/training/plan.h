// What is trained, stage by stage.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cimg/CImg.h"
#include "follow/training/completion.h"
#include "follow/training/origin.h"
#include "follow/training/training.h"

namespace remora {

// What units are trained on: pictures of one resolution, and where the points are in each.
struct TrainingMaterial {
  std::vector<CImg<float>> images;
  std::vector<Shape> shapes;  // of each image, in its pixels; unseen points are no numbers
};

struct PlannedStage {
  float radius = 0.0F;       // pixels of its material
  std::size_t material = 0;  // of the plan
};

struct TrainingPlan {
  std::vector<TrainingMaterial> materials;
  std::vector<PlannedStage> stages;
  std::vector<PointOptions> points;
  int generations = 1;
  float scale = 1.0F;  // of the images, as the engine wants to know
  unsigned seed = 1;
  Origin origin;
};

// The options with everything chosen that they leave open. Throws Error for what cannot be.
TrainingOptions completed(TrainingOptions options, std::size_t points);

// A check sum of everything that decides what is trained.
// requires: completed options
std::string markOf(const std::vector<Example>& examples, const TrainingOptions& options);

// Frames as a plain model wants to see them.
TrainingMaterial plainMaterial(const std::vector<Example>& examples, float scale);

// A line for each point of a plain model whose predictors cannot be placed at it.
std::vector<std::string> warningsOf(const TrainingMaterial& material,
                                    const std::vector<Example>& examples,
                                    const TrainingOptions& options);

}  // namespace remora
