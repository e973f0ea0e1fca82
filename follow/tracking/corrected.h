// Tracking through frames of which some have known positions.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/picture.h"
#include "follow/tracking/tracker.h"

namespace remora {

// Follows a shape through the frames of a sequence; where positions are known they are reported as
// they are, and tracking goes on from them. Points that are no numbers are not known. A frame may
// take as long as it needs.
class REMORA_FOLLOW_EXPORT CorrectedTracker {
 public:
  explicit CorrectedTracker(const Model& model) : tracker_(model, {0}) {}

  // The next frame. Throws as Tracker does.
  TrackedShape next(const Image& image, const Shape* known);

 private:
  TrackedShape begin(const Shape& known);

  Tracker tracker_;
  bool started_ = false;
};

// Known positions, by the index of their frame; how to load a frame; and who is told how many
// frames are done, and ends the work with an Error by returning false.
using KnownFrames = std::map<std::size_t, Shape>;
using LoadFrame = std::function<Picture(std::size_t)>;
using TellDone = std::function<bool(std::size_t)>;

// Tracks `count` frames.
REMORA_FOLLOW_EXPORT std::vector<TrackedShape> trackForwards(const Model& model, std::size_t count,
                                                             const KnownFrames& known,
                                                             const LoadFrame& load,
                                                             const TellDone& done);

// Tracks `count` frames forwards, and from every frame with known positions backwards to the known
// one before, or to the beginning; takes of both, for every frame and point, what is more
// confident. Loads frames twice, and tells of up to 2 * count. Throws Error for a plain model,
// which knows no confidence.
REMORA_FOLLOW_EXPORT std::vector<TrackedShape> trackBothWays(const Model& model, std::size_t count,
                                                             const KnownFrames& known,
                                                             const LoadFrame& load,
                                                             const TellDone& done);

}  // namespace remora
