// Tracking: pictures in, positions and how sure they are out.
//
//   remora::Tracker tracker(remora::Model("model"));
//   tracker.start(shape);                        // or nothing: then the shape is looked for
//   for (...) {
//     for (const remora::TrackedPoint& point : tracker.next(image)) ...
//   }
#pragma once

#include <cstddef>
#include <memory>

#include "follow/annotation/shape.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/image.h"
#include "follow/model/model.h"

namespace remora {

// Follows one shape through the frames of one sequence, in order. A copy goes on from the same
// state on its own. A tracker is used by one thread at a time; different ones need no care. A call
// that throws leaves it as it was.
class REMORA_FOLLOW_EXPORT Tracker {
 public:
  explicit Tracker(const Model& model);
  Tracker(const Tracker& other);
  Tracker& operator=(const Tracker& other);
  Tracker(Tracker&&) noexcept;
  Tracker& operator=(Tracker&&) noexcept;
  ~Tracker();

  // The points are here in the frame before the next one. Throws Error unless there are as many as
  // the model has, all of them finite.
  void start(const Shape& shape);

  // Looks for the shape in the whole picture, wherever it was, and goes on from there. Throws Error
  // for a plain model, which cannot.
  TrackedShape find(const Image& image);

  // The next frame. Without a start the shape is looked for until a frame shows it; until then its
  // positions are no numbers. A plain model starts where training saw its points first. Throws
  // Error for a picture that cannot be, and for one that does not hold the points a plain model
  // starts at.
  TrackedShape next(const Image& image);

  // In the last frame, this point is here: tracking goes on from it. Throws Error when there is no
  // such point, no last frame, or the position is not finite.
  void correct(std::size_t point, double x, double y);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace remora
