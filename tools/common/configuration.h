// Training configurations: files that list sequences with their shapes.
#pragma once

#include <string>
#include <vector>

#include "common/sequences.h"

namespace remora::tools {

// Lines may end in CR LF, as the library's own reader wants them, or in LF. Fails, naming file and
// line, where the file does not say what it announces.
std::vector<AnnotatedSequence> readConfiguration(const std::string& file);

}  // namespace remora::tools
