// Calibration: what a model's trust is worth, tried on its own training frames.
#pragma once

#include <vector>

#include "follow/model/loaded_model.h"
#include "follow/training/completion.h"

namespace remora {

// Runs attempts on the examples, from starts that are off, behind things that hide, in other light
// and in noise, and sets the model's two calibrations: the shares of points within 5 % of the
// shape's size, fitted to rise with trust and quality (pool adjacent violators; R. E. Barlow et
// al., "Statistical inference under order restrictions", 1972). The draws depend on the model's
// seed alone, not on the number of jobs.
void calibrate(const std::vector<TrainingFrame>& examples, ModelDescription& model, Stages& stages,
               int jobs);

}  // namespace remora
