// Images, positions and predictors to train on.
#pragma once

#include <memory>
#include <vector>

#include "shape_lp_track.h"

namespace remora::bench {

// One point that drifts through pictures of noise.
class TrainingSet {
 public:
  explicit TrainingSet(int num_images);

  // A bunch as the driver places it, from the first draws of a seed.
  std::unique_ptr<LP_Bunch> bunch(int predictors) const;
  // One generation of training with it, by the driver.
  std::unique_ptr<ShapeLPTracker> train(int predictors);

  CImg<float>** images() { return image_pointers_.data(); }
  float*** positions() { return shapes_.data(); }
  int count() const { return static_cast<int>(images_.size()); }

 private:
  std::vector<CImg<float>> images_;
  std::vector<CImg<float>*> image_pointers_;
  std::vector<float> places_;
  std::vector<float*> points_;
  std::vector<float**> shapes_;
};

}  // namespace remora::bench
