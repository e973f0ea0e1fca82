// What a model that follows its shape holds besides the predictors: how the canvas looks, how the
// shape moves, and how sure a position is.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "follow/canvas/affine.h"
#include "follow/canvas/level.h"
#include "follow/model/look.h"
#include "follow/model/shape_model.h"

namespace remora {

constexpr int kMostCanvasSide = 8192;
constexpr int kLevels = 2;  // the canvas itself and, for the coarsest stages, half of it
constexpr int kFine = 0;
constexpr int kCoarse = 1;

// A rising curve from a score to the share of points within 5 % of the shape's size, linear between
// its nodes. Without nodes 0.
struct Calibration {
  std::vector<std::pair<double, double>> nodes;  // by score
  double at(double score) const;
};

struct FollowingModel {
  Level levels[kLevels];
  Region regions[kLevels];
  std::vector<float> mean;     // canvas of level kFine, grey levels 0 ... 255
  ShapeModel shape;            // in canvas coordinates
  double size = 0.0;           // of the shape, canvas pixels, never less than a small patch
  Affine usual;                // canvas to picture, where the shape lay in training
  std::vector<double> leeway;  // of each point: how far it usually is from where the others say
  std::vector<Look> looks[kLevels];  // of each point
  Calibration tracked;               // of points by their trust
  Calibration hidden;                // of points that the shape has placed, by the frame's quality
};

// Fills the regions from levels, shape and mean canvas.
void completeRegions(FollowingModel& model);

// Whether each pixel of a level shows the shape: the hull of its points and some pixels more.
std::vector<bool> maskOf(const Level& level, const Shape& mean_shape);

}  // namespace remora
