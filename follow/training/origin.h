// What a training, and each of its units, is made from.
#pragma once

#include <vector>

#include "follow/base/origin.h"
#include "follow/training/training.h"

namespace remora {

// requires: completed options
Origin originOf(const std::vector<Example>& examples, const TrainingOptions& options);

}  // namespace remora
