#include <CLI/StringTools.hpp>

#include "completion.h"

namespace remora::tools {
namespace {

// Completes by the function alone, from the words that it is given; or as bash does it, with files;
// or with folders; or not at all.
const char kBegin[] = R"(# Made of the options of the program.
_PROGRAM() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} verb= options= i
  # --option=value comes as three words.
  if [[ $word = '=' ]]; then
    word=
  elif [[ $before = '=' ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      verb=${COMP_WORDS[i]}
      break
    fi
  done
  COMPREPLY=()
  case $verb,$before in
)";

const char kMiddle[] = R"(  esac
  case $verb in
)";

const char kEnd[] = R"(  esac
  [[ $word != -* ]] || mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -o bashdefault -o default -F _PROGRAM PROGRAM
)";

std::string words(const std::string& list) {
  return "mapfile -t COMPREPLY < <(compgen -W " + shellQuoted(list) + " -- \"$word\"); return";
}

std::string action(const OptionOutline& option) {
  switch (option.kind) {
    case Value::kChoice:
      return words(CLI::detail::join(option.choices, " "));
    case Value::kFolder:
      return "compopt +o bashdefault +o default -o dirnames; return";
    case Value::kOther:
      return "compopt +o bashdefault +o default; return";
    default:
      return "return";
  }
}

// What comes after the option.
std::string valueCase(const std::string& verb, const OptionOutline& option) {
  std::string pattern;
  for (const std::string& name : option.names) {
    pattern += (pattern.empty() ? "" : " | ") + verb + "," + name;
  }
  return "    " + pattern + ") " + action(option) + " ;;\n";
}

// What comes in other places. Arguments that are no files are offered, whichever is next.
std::string verbCase(const Outline& outline, const VerbOutline& verb) {
  std::string names;
  std::string choices;
  bool files = false;
  for (const OptionOutline& option : allOptions(outline, verb)) {
    names += (names.empty() ? "" : " ") + CLI::detail::join(option.names, " ");
  }
  for (const OptionOutline& argument : verb.arguments) {
    files = files || argument.kind == Value::kFile || argument.kind == Value::kFolder;
    if (!argument.choices.empty()) choices += CLI::detail::join(argument.choices, " ") + " ";
  }
  std::string text = "    " + verb.name + ")\n      options=" + shellQuoted(names) + "\n";
  if (!files) text += "      compopt +o bashdefault +o default\n";
  if (!choices.empty()) {
    text +=
        "      mapfile -t COMPREPLY < <(compgen -W " + shellQuoted(choices) + " -- \"$word\")\n";
  }
  return text + "      ;;\n";
}

}  // namespace

std::string bashCompletion(const Outline& outline) {
  const VerbOutline& program = outline.program;
  std::string text = kBegin;
  for (const VerbOutline& verb : outline.verbs) {
    for (const OptionOutline& option : allOptions(outline, verb)) {
      if (option.kind != Value::kNone) text += valueCase(verb.name, option);
    }
  }
  text += kMiddle;
  for (const VerbOutline& verb : outline.verbs) text += verbCase(outline, verb);
  std::string names;
  for (const OptionOutline& option : program.options()) {
    names += CLI::detail::join(option.names, " ") + " ";
  }
  text += "    '' | " + std::string(kHelpVerb) + ")\n      compopt +o bashdefault +o default\n";
  text += "      options=" + shellQuoted(names) + "\n";
  text += "      mapfile -t COMPREPLY < <(compgen -W " + shellQuoted(verbNames(outline)) +
          " -- \"$word\")\n      ;;\n";
  return CLI::detail::find_and_replace(text + kEnd, "PROGRAM", program.name);
}

}  // namespace remora::tools
