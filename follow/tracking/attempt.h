// An attempt: the stages of a model run on one picture from one start.
#pragma once

#include <vector>

#include "cimg/CImg.h"
#include "follow/canvas/level.h"
#include "follow/model/loaded_model.h"

namespace remora {

// Where an attempt starts.
struct Start {
  Shape places;                 // in the picture
  std::vector<double> weights;  // of the points where the pose is estimated, not all 0
  Brightness light;             // that of the frame before, about
  // Without the stages of the coarse canvas: they look farther around each point, which helps where
  // it moved far and hurts where something hides its neighbours.
  bool only_fine = false;
};

// What an attempt ended with, in coordinates of the picture.
struct Outcome {
  Shape places;               // where the predictors led
  Shape expected;             // where the shape has each point, given those that are trusted
  std::vector<double> trust;  // 0 ... 1, of each place
  double quality = -1.0;      // mean trust; negative: nothing was attempted
  Brightness light;
};

// Sets every point to the middle of the pixel that it lies in. Displacements are learned from whole
// pixels, so what is learned counts from there.
void moveToPixelMiddles(FastShapeTracker& tracker);

// Runs attempts; holds the canvases of the last one.
class Attempts {
 public:
  // Both must outlive it. The model follows.
  Attempts(const ModelDescription& model, Stages& stages);

  Outcome run(const GreyView& picture, const Start& start);

 private:
  void paint(const GreyView& picture, int level);
  void predict(std::size_t stage, Shape& places);
  int levelOf(std::size_t stage) const { return levelOfRadius(description_.stages[stage].radius); }
  void lookAgain(const GreyView& picture, int level, Shape& places);
  void bringStrayedBack(Shape& places) const;
  void judge(int level, const Shape& places, std::vector<double>& trust);
  void distrustStrayed(const Shape& places, std::vector<double>& trust) const;
  void trustHalves(const Shape& places, const Shape& expected);
  Shape expectedOf(const Shape& places) const;
  bool anyDoubtful() const;
  void secondChance(Shape& places);
  void tryAgain(const Shape& from, const Shape& expected, Shape& places);
  const Patch* look(int level, const Point& canvas_place);
  double leewayOf(std::size_t point) const;

  const ModelDescription& description_;
  const FollowingModel& model_;
  Stages& stages_;
  CanvasPainter painter_;
  CImg<float> canvases_[kLevels];
  Affine pose_;  // canvas to picture
  Brightness light_;
  Shape before_;               // places at the start, on the canvas
  std::vector<double> trust_;  // of the places so far
  Patch patch_;
};

}  // namespace remora
