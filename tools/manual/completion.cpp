#include "completion.h"

namespace remora::tools {

std::string verbNames(const Outline& outline) {
  std::string names;
  for (const VerbOutline& verb : outline.verbs) names += verb.name + " ";
  return names + kHelpVerb;
}

std::vector<OptionOutline> allOptions(const Outline& outline, const VerbOutline& verb) {
  std::vector<OptionOutline> options = verb.options();
  options.insert(options.end(), outline.common.begin(), outline.common.end());
  return options;
}

std::string shellQuoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? "'\\''" : std::string(1, c);
  return out + "'";
}

}  // namespace remora::tools
