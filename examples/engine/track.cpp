// Follows the points of a model through image files and prints where they are.
//
//   track STAGE.flp... IMAGE...
//
// A model's stages run from coarse to fine, each starting where the one before left the points. The
// first image must show the points where the first training frame had them; see FastShapeTracker
// for placing them elsewhere.
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "fast_lp.h"

namespace {

bool isStage(const char* name) {
  const char* const dot = std::strrchr(name, '.');
  return dot != nullptr && std::strcmp(dot, ".flp") == 0;
}

// Frames are smoothed as they were for training.
void smooth(CImg<float>& image) {
  image.deriche(1.0F, 0, 'x', 1);
  image.deriche(1.0F, 0, 'y', 1);
}

void track(std::vector<std::unique_ptr<FastShapeTracker>>& stages, const char* name) {
  CImg<float> image(name);
  smooth(image);
  FastShapeTracker* previous = stages.back().get();
  for (auto& stage : stages) {
    stage->Predict(image, previous);
    previous = stage.get();
  }
  for (int p = 0; p < previous->num_points; ++p) {
    const double* const position = previous->all_pos[p];
    std::printf("%s %d %.2f %.2f\n", name, p, position[0], position[1]);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::unique_ptr<FastShapeTracker>> stages;
  int next = 1;
  for (; next < argc && isStage(argv[next]); ++next) {
    stages.push_back(std::make_unique<FastShapeTracker>(argv[next]));
    if (stages.back()->num_points == 0) return 1;  // the library has said why
  }
  if (stages.empty() || next == argc) {
    std::fprintf(stderr, "usage: track STAGE.flp... IMAGE...\n");
    return 2;
  }
  try {
    for (; next < argc; ++next) track(stages, argv[next]);
  } catch (const CImgException& error) {
    std::fprintf(stderr, "track: %s\n", error.what());
    return 1;
  }
}
