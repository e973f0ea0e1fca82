// What shapes look like: where a point must be when others are known.
#pragma once

#include <vector>

#include "follow/annotation/shape.h"

namespace remora {

// Mean and modes of training shapes in canvas coordinates, after T. Cootes et al., "Active shape
// models - their training and application", CVIU 61(1), 1995. What a plane does before a camera,
// affine and perspective, is part of every model.
class ShapeModel {
 public:
  ShapeModel() = default;
  // Learns from aligned shapes, each as many points as the mean: keeps the modes that explain 95 %
  // of their departures, at most a third as many as there are shapes.
  ShapeModel(const Shape& mean, const std::vector<Shape>& aligned);
  // As stored: for each mode a displacement of every point, and its standard deviation.
  ShapeModel(Shape mean, std::vector<Shape> modes, std::vector<double> deviations);

  const Shape& mean() const { return mean_; }
  const std::vector<Shape>& modes() const { return modes_; }
  const std::vector<double>& deviations() const { return deviations_; }

  // Where all points are most probably, given some: a robust fit, each point counting as far as it
  // is trusted (0 ... 1). `noise` is the standard deviation of a good point in pixels.
  Shape fit(const Shape& seen, const std::vector<double>& trust, double noise) const;
  // The same into a shape that is there, other than `seen`: allocates no memory where it has room.
  void fit(const Shape& seen, const std::vector<double>& trust, double noise, Shape& fitted) const;

 private:
  class Equations;

  void prepare();

  Shape mean_;
  std::vector<Shape> modes_;  // the learned ones
  std::vector<double> deviations_;

  // What every fit needs, with the modes of a plane before the learned ones.
  std::size_t unknowns_ = 0;
  std::vector<double> spreads_;   // of each mode: standard deviation
  std::vector<Point> moves_;      // of each point, every mode
  std::vector<double> products_;  // of each point, of every two modes that move it: lower triangle
};

}  // namespace remora
