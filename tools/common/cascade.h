// Runs a model's stages over frames.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cimg/CImg.h"
#include "common/model.h"
#include "common/shapes.h"
#include "fast_lp.h"

namespace remora::tools {

// From coarse to fine: every stage starts where the one before left the points. Positions are
// pixels of the canvas.
class Cascade {
 public:
  Cascade(const std::string& folder, const Model& model);

  std::size_t numPoints() const;
  // Where the points are.
  Shape positions() const;
  void place(const Shape& shape);

  // Moves the points to a new frame, as its canvas shows it.
  void track(CImg<float>& canvas);

 private:
  std::vector<std::unique_ptr<FastShapeTracker>> stages_;
  std::vector<int> steps_;
};

}  // namespace remora::tools
