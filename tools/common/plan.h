// What is trained, and on which frames.
#pragma once

#include <string>
#include <vector>

#include "cimg/CImg.h"
#include "follow/canvas/scaled_frame.h"
#include "common/model.h"
#include "common/shapes.h"

namespace remora::tools {

// One training frame and the points' positions in it.
struct Example {
  std::string file;
  Shape shape;  // in pixels of the frame
  ScaledFrame canvas;
  CImg<float> image;  // the frame as its canvas shows it
};

struct PointOptions {
  std::string name;
  int predictors = 60;
  int placement = 0;  // 0 around the point, -1 below it, 1 above it
  float radius_factor = 1.0F;
};

struct TrainingPlan {
  std::vector<Example> examples;
  std::vector<PointOptions> points;
  std::vector<Stage> stages;
  int generations = 3;
  float scale = 1.0F;
  unsigned seed = 1;
  int predictors = 60;  // for points that do not say otherwise
};

// Fails, naming the point and the frame, unless every point lies inside every image and all images
// have one size. Returns a line for each point whose predictors cannot be placed at it.
std::vector<std::string> checkPlan(const TrainingPlan& plan);

// A check sum of everything that decides what is trained.
std::string markOf(const TrainingPlan& plan);

}  // namespace remora::tools
