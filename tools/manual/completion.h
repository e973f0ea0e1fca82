// Completion of the command line in shells: verbs, options, the words of a choice, and files.
#pragma once

#include <string>

#include "outline.h"

namespace remora::tools {

std::string bashCompletion(const Outline& outline);
std::string zshCompletion(const Outline& outline);
std::string fishCompletion(const Outline& outline);

// The verb whose argument is a verb.
constexpr char kHelpVerb[] = "help";

// The names of all verbs, with spaces between them.
std::string verbNames(const Outline& outline);

// What a verb takes: its own options, and those of the program.
std::vector<OptionOutline> allOptions(const Outline& outline, const VerbOutline& verb);

// Quoted for a shell of the Bourne family.
std::string shellQuoted(const std::string& text);

}  // namespace remora::tools
