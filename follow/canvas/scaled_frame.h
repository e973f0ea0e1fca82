// A frame as a model wants to see it: smoothed, and of the size that is worked on.
#pragma once

#include "cimg/CImg.h"
#include "follow/annotation/shape.h"
#include "follow/footage/image.h"

namespace remora {

// Prepares frames of one size, for training and for tracking alike.
class ScaledFrame {
 public:
  // A canvas has whole pixels: its width and height are the nearest ones to `scale` times the
  // frame's. Fails when it would be too large to be worked on.
  ScaledFrame(int frame_width, int frame_height, float scale);

  CImg<float> prepare(const GreyImage& picture) const;

  int frameWidth() const { return frame_width_; }
  int frameHeight() const { return frame_height_; }

  // A place of the frame on the canvas, and back.
  Point fromFrame(const Point& point) const;
  Point toFrame(const Point& point) const;
  Shape fromFrame(const Shape& shape) const;
  Shape toFrame(const Shape& shape) const;

 private:
  int frame_width_, frame_height_;
  int width_, height_;
  double x_scale_, y_scale_;  // what the canvas really is of the frame
};

}  // namespace remora
