// Pose: the map that takes a model's mean shape to where a shape lies in a picture.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/canvas/affine.h"

namespace remora {

// Least-squares similarity from one shape to another, by weighted points (S. Umeyama,
// "Least-squares estimation of transformation parameters between two point patterns", IEEE PAMI
// 13(4), 1991). With a single point of weight, or all in one place, `usual` moved there.
Affine fitSimilarity(const Shape& from, const Shape& to, const std::vector<double>& weights,
                     const Affine& usual);

// Robust pose. Where some points stand out from what all of them say, a similarity that the median
// of the points agrees with is found over pairs of points (P. Rousseeuw, "Least median of squares
// regression", 1984). It is refined by reweighting, and then bent into an affine map, whose
// departure from the similarity is held back by a ridge in proportion to the shape's mean square
// extent. Points of weight 0 take no part. A single point, or points in one place, tell no size and
// no turn: those of `usual` are taken.
class PoseFit {
 public:
  // For shapes of so many points no memory is allocated afterwards.
  void reserve(std::size_t points);

  Affine operator()(const Shape& mean, const Shape& seen, const std::vector<double>& weights,
                    const Affine& usual);

 private:
  friend class RobustFit;
  std::vector<double> current_;    // weights
  std::vector<std::size_t> used_;  // points
  std::vector<double> residuals_;  // squared
};

Affine fitPose(const Shape& mean, const Shape& seen, const std::vector<double>& weights,
               const Affine& usual);

}  // namespace remora
