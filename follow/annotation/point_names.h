// Names of points.
#pragma once

#include <string>

#include "follow/export.h"

namespace remora {

// Whether tables and model files can hold a point of this name: UTF-8 text without comma, quote and
// control characters.
REMORA_FOLLOW_EXPORT bool isPointName(const std::string& name);

}  // namespace remora
