// Positions that are known before tracking: of the first frame, and corrections.
#pragma once

#include <map>

#include "follow/annotation/shape.h"
#include "follow/footage/frame_reader.h"
#include "follow/model/model.h"
#include "track.h"

namespace remora::tools {

// By frame number.
using KnownShapes = std::map<int, Shape>;

// All that a request tells. Throws Error for frames that are not among those to track, as far as
// they are known.
KnownShapes readKnown(const TrackRequest& request, const Model& model);

// The known positions of a frame, or null. Throws Error where one lies outside its picture.
const Shape* knownIn(const KnownShapes& known, const TrackRequest& request,
                     const FootageFrame& frame);

// Throws Error for known positions of a frame behind the last one.
void requireReached(const KnownShapes& known, const TrackRequest& request, int last_frame);

}  // namespace remora::tools
