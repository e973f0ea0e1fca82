// Runs of tracking.
#pragma once

#include "follow/annotation/tracks.h"
#include "tracking/known.h"

namespace remora::tools {

// Tracks frame by frame until the last one or an interruption, and writes rows as they come. What
// was tracked when a run ends early is kept.
TracksSummary followOnline(const TrackRequest& request, const Model& model,
                           const KnownShapes& known);

// Tracks all frames before anything is written, as what comes later may change what came before. Of
// a run that ends early, what was tracked is smoothed and written.
TracksSummary followSmoothly(const TrackRequest& request, const Model& model,
                             const KnownShapes& known);

// The same forwards and backwards; smoothed where that is asked for. Writes all or nothing.
TracksSummary followBothWays(const TrackRequest& request, const Model& model,
                             const KnownShapes& known);

}  // namespace remora::tools
