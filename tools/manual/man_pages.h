// Manual pages of the program and its verbs.
#pragma once

#include <string>

#include "outline.h"

namespace remora::tools {

// remora(1).
std::string programPage(const Outline& outline);

// remora-VERB(1).
std::string verbPage(const Outline& outline, const VerbOutline& verb);

}  // namespace remora::tools
