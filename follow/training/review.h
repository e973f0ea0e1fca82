// Review: what a finished model makes of the annotations that it was trained on.
#pragma once

#include <vector>

#include "follow/model/loaded_model.h"
#include "follow/model/review.h"
#include "follow/training/completion.h"
#include "follow/training/training.h"

namespace remora {

// Runs the model, complete but for its review, on its own training frames, from where the
// annotations have the points. The options are those of its training, completed.
Review review(const std::vector<TrainingFrame>& frames, const TrainingOptions& options,
              const ModelDescription& model, Stages& stages, int jobs);

}  // namespace remora
