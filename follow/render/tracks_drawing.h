// Tracked points on their frames.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/export.h"
#include "follow/footage/picture.h"
#include "follow/render/enlargement.h"
#include "follow/render/label_places.h"
#include "follow/render/painter.h"
#include "follow/report/overlay.h"

namespace remora {

struct DrawingStyle {
  std::size_t trail = kTrailFrames;  // frames before the drawn one
  bool names = true;
  std::vector<std::pair<std::size_t, std::size_t>> lines = {};  // between points
  std::optional<Crop> crop = {};                                // the part that is shown
  int enlargement = 0;  // 0: by the smallest whole number that makes a side 640 pixels or more
  bool even = false;    // sizes, as most videos need them
};

// Draws frame after frame. For each point a mark tells the status by shape and colour: a cross
// where it is tracked, green where that is certain to yellow where it is not; an orange square
// where it is occluded; a red X where it is lost. A trail that fades shows where it was, and a name
// is set beside it where there is room: names cover no other names.
class REMORA_FOLLOW_EXPORT TracksDrawing {
 public:
  explicit TracksDrawing(DrawingStyle style = {}) : style_(std::move(style)) {}

  // The frame as tracks[index] has it; without an index nothing was tracked in it. The caption, if
  // any, is set in the upper left corner. Throws Error where a crop leaves the frame, or what is
  // drawn would have sides above 32767 pixels.
  Picture draw(const Picture& frame, const Tracks& tracks, std::optional<std::size_t> index,
               const std::string& caption = "");

 private:
  class Scale;

  void drawLines(Painter& painter, const Scale& scale, const TrackedShape& shape) const;
  void drawTrails(Painter& painter, const Scale& scale, const Tracks& tracks,
                  std::size_t index) const;
  void drawNames(Painter& painter, const Scale& scale, const TrackedShape& shape,
                 const std::vector<std::string>& names);
  const Lettering& letteringOf(const std::string& name, int height);

  DrawingStyle style_;
  LabelPlaces places_;
  std::map<std::pair<std::string, int>, Lettering> letterings_;  // of names, by their height
};

}  // namespace remora
