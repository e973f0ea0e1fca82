// Follows the points of a flat LP file through image files and prints where they are.
//
//   track MODEL.flp IMAGE...
#include <cstdio>

#include "fast_lp.h"

namespace {

// Frames are smoothed as they were for training.
void smooth(CImg<float>& image) {
  image.deriche(1.0F, 0, 'x', 1);
  image.deriche(1.0F, 0, 'y', 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: track MODEL.flp IMAGE...\n");
    return 2;
  }
  FastShapeTracker tracker(argv[1]);
  if (tracker.num_points == 0) return 1;  // the library has said why

  for (int i = 2; i < argc; ++i) {
    CImg<float> image(argv[i]);
    smooth(image);
    double** const positions = tracker.Predict(image);
    for (int p = 0; p < tracker.num_points; ++p) {
      std::printf("%s %d %.2f %.2f\n", argv[i], p, positions[p][0], positions[p][1]);
    }
  }
}
