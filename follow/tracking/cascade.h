// The stages of a model at work on a picture, which is drawn as far as they look at it.
#pragma once

#include <vector>

#include "follow/canvas/drawing.h"
#include "follow/model/loaded_model.h"

namespace remora {

// Indices of points.
using Selection = std::vector<std::size_t>;

// Sets every point to the middle of the pixel that it lies in. Displacements are learned from whole
// pixels, so what is learned counts from there.
void moveToPixelMiddles(FastShapeTracker& tracker);

// Places are canvas coordinates. Allocates memory only when it is made.
class Cascade {
 public:
  // The model must outlive it, and follows.
  Cascade(const ModelDescription& model, const Stages& stages);

  // The stages of the next attempts: those that it was made for, or others read from the same
  // files. They must stay until the last.
  void use(Stages& stages) { stages_ = &stages; }

  std::size_t numStages() const { return levels_.size(); }
  // Support pixels of one step of every stage.
  double samples() const { return samples_; }
  int levelOf(std::size_t stage) const { return levels_[stage]; }

  // Looks at a picture, drawn on this level in this pose. The neighbourhoods of the places, as far
  // as a stage looks around them, tell the brightness.
  void begin(const GreyView& picture, const Affine& pose, int level, const Shape& places,
             std::size_t stage);

  // The steps of a stage for some points, from their places to where they lead. requires: begin()
  // on the stage's level
  void predict(std::size_t stage, const Selection& points, Shape& places);

  // How some points look now, one by one, in the order of the selection: a normalised patch, or
  // nothing where the place is beyond the canvas. The patch stays until the next one.
  template <class Tell>
  void look(int level, const Selection& points, const Shape& places, const Tell& tell) {
    wantPatches(level, points, places);
    for (const std::size_t p : points) tell(p, patchAt(level, places[p]));
  }

  Brightness light;  // that of the last drawing, and where the next one starts from

 private:
  void step(std::size_t stage, const Selection& points);
  void wantPatches(int level, const Selection& points, const Shape& places);
  const Patch* patchAt(int level, const Point& place);
  bool isInside(int level, const Point& at) const;
  void wantAround(Drawing& drawing, const Point& at, int reach) const;

  const ModelDescription& description_;
  const FollowingModel& model_;
  Stages* stages_ = nullptr;
  double samples_ = 0.0;
  std::vector<int> levels_;                // of the stages
  std::vector<std::vector<int>> reaches_;  // of each stage, how far every point looks
  std::vector<Drawing> drawings_;          // of the levels
  Selection moved_;                        // points that a further step takes elsewhere
  Shape pixels_;                           // that the points have been in
  Patch patch_;
};

}  // namespace remora
