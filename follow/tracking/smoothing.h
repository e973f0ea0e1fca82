// Smoothing of finished tracks.
#pragma once

#include "follow/annotation/tracks.h"
#include "follow/export.h"

namespace remora {

// Smooths positions over time without lag: for each point and coordinate, the series that departs
// little from the tracked positions, by confidence, and bends little (P. H. C. Eilers, "A perfect
// smoother", Analytical Chemistry 75, 2003, with second differences). How much bending weighs is
// chosen for each point by how well left-out positions are foretold (M. Stone, "Cross-validatory
// choice and assessment of statistical predictions", 1974): motion is kept, jitter is not. Frames
// where a point is lost take no part and stay as they are; so do points without known confidence,
// and stretches of less than ten frames.
REMORA_FOLLOW_EXPORT void smooth(Tracks& tracks);

}  // namespace remora
