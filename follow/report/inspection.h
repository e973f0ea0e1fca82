// What kind of file this is, and what it holds. The engine's text formats carry no mark of their
// own: a file is of the kind whose layout it follows to its very end.
#pragma once

#include <string>

#include "follow/export.h"

namespace remora {

// Describes a model folder, its model.json, a flat LP, bunch, shape, shape sequence or tres file,
// in some lines. Throws Error when it is none of them, or cannot be read.
REMORA_FOLLOW_EXPORT std::string describe(const std::string& file);

}  // namespace remora
