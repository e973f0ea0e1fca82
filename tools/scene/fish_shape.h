// Where the body of the fish lies in the picture.
#pragma once

#include <optional>

#include "follow/annotation/shape.h"
#include "scene/moment.h"
#include "scene/pose.h"

namespace remora::tools::scene {

// u runs along the spine from the snout (0) to the tail, v across it; one pixel at scale 1.
struct BodyPoint {
  double u, v;
};

constexpr double kTailBase = 195.0;  // u where the tail fin begins

// The spine is a graph over u: a beat that travels towards the tail and grows on its way, plus a
// slow bend of the whole body. It carries v along its normals; then the whole is scaled, turned
// and shifted.
class FishShape {
 public:
  FishShape(const Moment& moment, const Pose& pose);

  Point toPicture(const BodyPoint& body) const;

  // The inverse of toPicture(); nothing far from the body.
  std::optional<BodyPoint> toBody(const Point& picture) const;

 private:
  struct SpinePoint {
    double offset;  // to the side
    double slope;
  };
  SpinePoint spineAt(double u) const;

  static constexpr double kPivot = 98.0;  // u of the centre of the turns
  double beat_;                           // amplitude at the tail base
  double phase_;
  double bend_;
  Point centre_;
  Point axis_;  // picture of the unit vector along the unbent spine
};

}  // namespace remora::tools::scene
