// Review: what a finished model makes of the annotations that it was trained on.
#pragma once

#include <vector>

#include "follow/model/loaded_model.h"
#include "follow/training/completion.h"
#include "follow/training/training.h"

namespace remora {

// Runs the model on its own training frames, from where the annotations have the points.
Review review(const std::vector<TrainingFrame>& frames, const ModelDescription& model,
              Stages& stages, int jobs);

}  // namespace remora
