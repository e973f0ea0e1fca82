#include <CLI/StringTools.hpp>

#include "completion.h"

namespace remora::tools {
namespace {

// Inside of a specification, where : and brackets divide it.
std::string plain(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == ':' || c == '[' || c == ']' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

std::string action(const OptionOutline& option) {
  switch (option.kind) {
    case Value::kChoice:
      return "(" + CLI::detail::join(option.choices, " ") + ")";
    case Value::kFolder:
      return "_files -/";
    case Value::kFile:
      return "_files";
    default:
      return " ";
  }
}

std::string argument(const OptionOutline& argument) {
  const char* const place = argument.repeated ? "*:" : argument.required ? ":" : "::";
  return shellQuoted(place + plain(argument.names[0]) + ":" + action(argument));
}

// A specification for each name; one name excludes the others, but where they may be repeated.
std::string specifications(const OptionOutline& option, const std::string& indent) {
  std::string text;
  const std::string others =
      option.repeated ? "*" : "(" + CLI::detail::join(option.names, " ") + ")";
  for (const std::string& name : option.names) {
    std::string specification = others + name;
    if (option.kind != Value::kNone && name[1] == '-') specification += "=";
    if (option.kind != Value::kNone && name[1] != '-') specification += "+";
    specification += "[" + plain(option.meaning) + "]";
    if (option.kind != Value::kNone)
      specification += ":" + plain(option.value) + ":" + action(option);
    text += " \\\n" + indent + shellQuoted(specification);
  }
  return text;
}

std::string verbCase(const Outline& outline, const VerbOutline& verb) {
  std::string text = "        " + verb.name + ")\n          _arguments";
  for (const OptionOutline& option : allOptions(outline, verb)) {
    text += specifications(option, "            ");
  }
  for (const OptionOutline& one : verb.arguments) text += " \\\n            " + argument(one);
  return text + "\n          ;;\n";
}

}  // namespace

std::string zshCompletion(const Outline& outline) {
  const std::string& program = outline.program.name;
  std::string text = "#compdef " + program + "\n# Made of the options of the program.\n_" +
                     program +
                     "() {\n  local curcontext=$curcontext state line\n  local -a verbs=(\n";
  for (const VerbOutline& verb : outline.verbs) {
    text += "    " + shellQuoted(plain(verb.name) + ":" + plain(verb.meaning)) + "\n";
  }
  text += "  )\n  _arguments -C";
  for (const OptionOutline& option : outline.program.options()) {
    text += specifications(option, "    ");
  }
  text += " \\\n    '1: :->verb' '*:: :->rest'\n  case $state in\n";
  text += "    verb) _describe verb verbs -- '(" + std::string(kHelpVerb) + ")' ;;\n";
  text += "    rest)\n      case $line[1] in\n";
  for (const VerbOutline& verb : outline.verbs) text += verbCase(outline, verb);
  text += "        " + std::string(kHelpVerb) + ") _describe verb verbs ;;\n";
  return text + "      esac\n      ;;\n  esac\n}\n_" + program + " \"$@\"\n";
}

}  // namespace remora::tools
