// One trial: a model is trained and follows footage, and so does a peer.
#pragma once

#include <optional>
#include <vector>

#include "follow/annotation/tracks.h"
#include "follow/model/model.h"
#include "follow/training/example.h"
#include "footage.h"

namespace remora::bench {

constexpr double kLostLimit = 5.0;  // pixels

std::vector<Example> examplesOf(const Footage& footage, const FrameChoice& choice);

// Trains with default options; the folder is gone when this returns.
Model trainedModel(const std::vector<Example>& examples, unsigned seed);

// Follows every step-th frame from the known positions in frame 0 on, which is not among the
// tracks.
Tracks follow(const Model& model, const Footage& footage, int step);

// The same by pyramidal Lucas-Kanade from frame to frame. Nothing where it was not built in.
std::optional<Tracks> followByPeer(const Footage& footage, int step);

// Errors of those positions only that are visible, or hidden; nothing when there are none.
enum class Kind { kVisible, kHidden };
std::optional<ErrorSummary> errorsOf(Kind kind, const Tracks& tracks, Truth truth,
                                     const FrameChoice& choice);

}  // namespace remora::bench
