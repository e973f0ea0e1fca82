#include <CLI/StringTools.hpp>

#include "completion.h"

namespace remora::tools {
namespace {

const char kBegin[] = R"(# Made of the options of the program.
# Whether the verb is this one; none where it is empty.
function __PROGRAM_verb
    set -l words (commandline -opc)
    for word in $words[2..-1]
        string match -q -- '-*' $word; and continue
        test $word = "$argv[1]"
        return
    end
    test -z "$argv[1]"
end
)";

// In single quotes only these two are special.
std::string inQuotes(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  return out + "'";
}

std::string values(const OptionOutline& option) {
  switch (option.kind) {
    case Value::kChoice:
      return " -xa " + inQuotes(CLI::detail::join(option.choices, " "));
    case Value::kFolder:
      return " -xa '(__fish_complete_directories)'";
    case Value::kFile:
      return " -rF";
    case Value::kOther:
      return " -x";
    case Value::kNone:
      break;
  }
  return "";
}

// A line of the script, for one verb.
std::string line(const std::string& verb, const std::string& rest) {
  return "complete -c PROGRAM -n " + inQuotes("__PROGRAM_verb '" + verb + "'") + rest + "\n";
}

std::string optionLine(const std::string& verb, const OptionOutline& option) {
  std::string names;
  for (const std::string& name : option.names) {
    names += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  return line(verb, names + values(option) + " -d " + inQuotes(option.meaning));
}

// Arguments that are no files are offered, whichever is next.
std::string argumentLines(const VerbOutline& verb) {
  bool files = false;
  std::string text;
  for (const OptionOutline& argument : verb.arguments) {
    files = files || argument.kind == Value::kFile || argument.kind == Value::kFolder;
    if (argument.choices.empty()) continue;
    text += line(verb.name, " -a " + inQuotes(CLI::detail::join(argument.choices, " ")));
  }
  return files ? text : text + line(verb.name, " -f");
}

}  // namespace

std::string fishCompletion(const Outline& outline) {
  std::string text = kBegin;
  for (const std::string& place : {std::string(), std::string(kHelpVerb)}) {
    text += line(place, " -f");
    for (const VerbOutline& verb : outline.verbs) {
      text += line(place, " -a " + verb.name + " -d " + inQuotes(verb.meaning));
    }
  }
  text += line("", " -a " + std::string(kHelpVerb));
  for (const OptionOutline& option : outline.program.options()) text += optionLine("", option);
  for (const VerbOutline& verb : outline.verbs) {
    text += argumentLines(verb);
    for (const OptionOutline& option : allOptions(outline, verb)) {
      text += optionLine(verb.name, option);
    }
  }
  return CLI::detail::find_and_replace(text, "PROGRAM", outline.program.name);
}

}  // namespace remora::tools
