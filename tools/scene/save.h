// Frames of a scene as files.
#pragma once

#include <string>

#include "scene/scene.h"

namespace remora::tools {

void savePng(const SceneFrame& frame, const std::string& file);

}  // namespace remora::tools
