// Training configurations: files that list sequences with their shapes.
#pragma once

#include <string>
#include <vector>

#include "follow/export.h"
#include "follow/footage/sequences.h"

namespace remora {

// Lines may end in CR LF, as the library's own reader wants them, or in LF. Fails, naming file and
// line, where the file does not say what it announces.
REMORA_FOLLOW_EXPORT std::vector<AnnotatedSequence> readConfiguration(const std::string& file);

}  // namespace remora
