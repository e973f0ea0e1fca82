// An attempt: the stages of a model run on one picture from one start.
#pragma once

#include <vector>

#include "follow/canvas/pose.h"
#include "follow/tracking/cascade.h"

namespace remora {

// Where an attempt starts.
struct Start {
  const Shape& places;                 // in the picture
  const std::vector<double>& weights;  // of the points where the pose is estimated, not all 0
  Brightness light;                    // that of the frame before, about
  // Without the coarsest stage: it looks farther around each point, which helps where it moved far
  // and hurts where something hides its neighbours.
  bool only_fine = false;
};

// What an attempt ended with, in coordinates of the picture.
struct Outcome {
  Shape places;               // where the predictors led
  Shape expected;             // where the shape has those that are not trusted, given the others
  std::vector<double> trust;  // 0 ... 1, of each place
  double quality = -1.0;      // mean trust; negative: nothing was attempted
  Brightness light;
};

// Runs attempts, without allocating memory for all but the first ones.
class Attempts {
 public:
  // The model must outlive it, and follows; the stages until others are used.
  Attempts(const ModelDescription& model, Stages& stages);

  void use(Stages& stages) { cascade_.use(stages); }
  // Support pixels that an attempt samples, about.
  double samples() const { return cascade_.samples(); }

  void run(const GreyView& picture, const Start& start, Outcome& outcome);
  Outcome run(const GreyView& picture, const Start& start);

 private:
  void runStages(const GreyView& picture, std::size_t first);
  void lookAgain(const GreyView& picture, int level, std::size_t stage);
  bool isTurned();
  void judge(int level);
  bool allNearMean() const;
  void bringStrayedBack();
  void distrustStrayed();
  void findExpected();
  void secondChance();
  void tryAgain(const Shape& from);
  void trustHalves();
  bool selectDoubtful();
  double leewayOf(std::size_t point) const;
  double strayed(const Point& place, std::size_t point) const;

  const FollowingModel& model_;
  Cascade cascade_;
  PoseFit fit_pose_;
  Affine pose_;  // canvas to picture

  // On the canvas:
  Shape before_;    // at the start
  Shape places_;    // so far
  Shape expected_;  // where the shape has them
  Shape again_, seen_;

  std::vector<double> trust_;  // of the places so far
  std::vector<double> weights_;
  Selection all_, doubtful_;
};

}  // namespace remora
