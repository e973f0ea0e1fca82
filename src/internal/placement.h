// Where a bunch puts its predictors around a feature point.
#pragma once

namespace remora::internal {

struct Place {
  double x = 0.0;
  double y = 0.0;
};

constexpr int kPlacedAtPoint = 10;  // the first predictors sit at the feature point itself

// Chooses the positions of one bunch's predictors, in order. Draws from rand(): x, then y, per try.
class Placement {
 public:
  // (x, y) is the feature point in an image of width x height pixels, `radius` the placement
  // radius, `mode` the vertical mode: 0 around the point, -1 at least 5 pixels below it, 1 at least
  // 5 pixels above it, any other value on its row.
  Placement(int width, int height, float x, float y, float radius, char mode);

  // The position of predictor `index`, at least 30 pixels inside the image.
  //
  // The first ten sit at the point, without a draw. Where the point itself is too close to the
  // border, which is reported once, they sit at the nearest place that is not; in an image without
  // such a place, at the nearest place inside it. The others are drawn around the point; a rejected
  // draw is reported and repeated. Where no draw can pass, or after 10,000 rejected ones, a
  // predictor goes to the place of the first ten, and the bunch says so once.
  Place next(int index);

 private:
  bool fits(Place place) const;
  bool aDrawCanFit() const;
  Place nearestFit() const;
  Place draw() const;
  Place settleAtPoint();
  Place giveUp(int index);

  int width_;
  int height_;
  float x_;
  float y_;
  float radius_;
  signed char mode_;
  Place centre_;
  bool settled_ = false;
  bool gave_up_ = false;
};

}  // namespace remora::internal
