// Trains a tracker on the first sequence of a training configuration and exports it.
//
//   train CONFIGURATION MODEL.flp
//
// One radius is enough for small motions; the program remora trains a cascade from coarse to fine.
// Leaves the two bunch files x.lpb and y.lpb in the current folder.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "fast_lp.h"
#include "shape_lp_track.h"

namespace {

constexpr float kScale = 1.0F;
constexpr float kRadius = 15.0F;  // pixels
constexpr int kPredictors = 40;   // per point
constexpr int kGenerations = 3;

std::vector<CImg<float>> loadFrames(ImgFnames& names, int count) {
  std::vector<CImg<float>> frames;
  names.ResetToStart();
  for (int i = 0; i < count; ++i) {
    const std::unique_ptr<char[]> name(names.GetNextFname());
    frames.emplace_back(name.get());
    frames.back().deriche(1.0F, 0, 'x', 1);
    frames.back().deriche(1.0F, 0, 'y', 1);
  }
  return frames;
}

int train(const char* configuration, const char* model) {
  const SLT_Cfg config(configuration, kScale);
  if (config.num_seqs == 0) return 1;  // the library has said why

  const int count = config.all_num_shapes[0];
  std::vector<CImg<float>> frames = loadFrames(*config.img_fnames[0], count);
  std::vector<CImg<float>*> images;
  for (CImg<float>& frame : frames) images.push_back(&frame);

  // The same seed and inputs give the same files.
  std::srand(1);
  const char* const files[] = {"x.lpb", "y.lpb"};
  for (int direction = 0; direction < 2; ++direction) {
    ShapeLPTracker tracker(images.data(), count, kScale, config.all_num_fps[0],
                           config.all_fp_pos[0], kRadius, kPredictors, 0, nullptr, direction,
                           kGenerations);
    tracker.SaveToFile(files[direction]);
  }
  SelLPShapeTracker(files[0], files[1]).SaveFlat(model);
  // Read back, to be sure of it.
  return FastShapeTracker(model).num_points == config.all_num_fps[0] ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: train CONFIGURATION MODEL.flp\n");
    return 2;
  }
  try {
    return train(argv[1], argv[2]);
  } catch (const CImgException& error) {
    std::fprintf(stderr, "train: %s\n", error.what());
    return 1;
  }
}
