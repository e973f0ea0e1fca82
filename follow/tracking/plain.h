// Plain models: predictors of frame coordinates, run one stage after the other.
#pragma once

#include "follow/annotation/shape.h"
#include "follow/footage/image.h"
#include "follow/model/loaded_model.h"

namespace remora {

// Where training saw the points first. Throws Error when that is outside of the picture.
Shape plainStart(const LoadedModel& model, const GreyImage& picture);

// Where the points of the previous frame are in this one.
Shape predictPlainly(const ModelDescription& model, Stages& stages, const GreyImage& picture,
                     const Shape& previous);

}  // namespace remora
