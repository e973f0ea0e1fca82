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
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/image.h"
#include "follow/model/model.h"

namespace remora {

struct TrackerOptions {
  static constexpr int kLeastWork = 8;  // less would leave nothing for the whole picture

  // The most work of a frame by next(), counted in attempts to follow; kLeastWork or more, or 0: no
  // limit. A frame that is followed takes 1, one that is doubtful up to 3, from as many starts.
  // Only one in which the shape is not found takes more: what is near is searched, and of the whole
  // picture as much as fits; the next frames go on with the rest, and then with the places that
  // looked best. An attempt that fails may take somewhat longer than one that succeeds, and for
  // models of very few points a search is counted as for a dozen. Without a limit all of that is
  // done in one frame, which takes longer the larger the picture is. Counted in work, not in time,
  // so that the same frames give the same positions on every machine.
  int most_work = 8;
};

// Follows one shape through the frames of one sequence, in order. A copy goes on from the same
// state on its own. A tracker is used by one thread at a time; different ones need no care. A call
// that throws leaves it as it was. One that was moved from may only be assigned to or destroyed.
class REMORA_FOLLOW_EXPORT Tracker {
 public:
  // Throws Error for options that cannot be.
  explicit Tracker(const Model& model, const TrackerOptions& options = {});
  Tracker(const Tracker& other);
  Tracker& operator=(const Tracker& other);
  Tracker(Tracker&&) noexcept;
  Tracker& operator=(Tracker&&) noexcept;
  ~Tracker();

  // The points are here in the frame before the next one. Points that are no numbers are not known:
  // they are placed by the others. Returns where all of them are. Throws Error unless there are as
  // many as the model has, some of them known; of a plain model all.
  Shape start(const Shape& shape);

  // Looks for the shape in the whole picture at once, wherever it was and whatever the limit of a
  // frame's work is, and goes on from there; where it is not found, tracking goes on as if nothing
  // had been asked. One that is found with some doubt is said to be lost, at the place where it may
  // be, until the next frame confirms it. Throws Error for a plain model, which cannot.
  TrackedShape find(const Image& image);

  // The next frame. Without a start the shape is looked for, in the whole first frame and then
  // within the work of a frame, until it is found; until then its positions are no numbers. A plain
  // model starts where training saw its points first. Throws Error for a picture that cannot be,
  // and for one that does not hold the points a plain model starts at.
  TrackedShape next(const Image& image);
  // The same into positions that are there. Of 8-bit grey pictures no memory is allocated after the
  // first frame that is followed, unless the shape has to be looked for.
  void next(const Image& image, TrackedShape& points);

  // In the last frame, this point is here: tracking goes on from it, as from a place that was
  // tracked. A shape that is lost stays so: start() tells where it is. Throws Error when there is
  // no such point, no last frame, or the position is not finite.
  void correct(std::size_t point, double x, double y);

 private:
  Shape placedByOthers(const Shape& shape, const std::vector<double>& known) const;

  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace remora
