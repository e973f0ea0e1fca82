#include "man_pages.h"

#include <CLI/StringTools.hpp>

namespace remora::tools {
namespace {

// As it is, for the formatter of manual pages.
std::string plain(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '\\':
        out += "\\e";
        break;
      case '-':
        out += "\\-";
        break;
      case '`':
        out += "\\(ga";
        break;
      case '\'':
        out += "\\(aq";
        break;
      case '~':
        out += "\\(ti";
        break;
      case '^':
        out += "\\(ha";
        break;
      case '.':
        out += out.empty() ? "\\&." : ".";
        break;  // not a request
      case '|':
        out += "|\\:";
        break;  // a line may end here
      default:
        out += c;
    }
  }
  return out;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

std::string upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

std::string head(const Outline& outline, const VerbOutline& page, const std::string& name) {
  return ".\\\" Made of the options of the program.\n.TH " + plain(upper(name)) + " 1 \"\" \"" +
         plain(outline.program.name + " " + outline.version) +
         "\" \"User Commands\"\n.nh\n.ad l\n.SH NAME\n" + plain(name) + " \\- " +
         plain(page.meaning) + "\n.SH SYNOPSIS\n";
}

std::string named(const OptionOutline& option) {
  std::string text;
  for (const std::string& name : option.names) text += (text.empty() ? "" : ", ") + bold(name);
  if (option.kind != Value::kNone) text += " " + italic(option.value);
  return text + (option.repeated ? " ..." : "");
}

std::string explained(const OptionOutline& option) {
  const std::string last =
      option.meaning.empty() ? "" : option.meaning.substr(option.meaning.size() - 1);
  std::string text = plain(option.meaning) + (last == "." || last == "?" ? "" : ".");
  if (option.required) text += " Required.";
  if (!option.usual.empty()) text += " Default: " + plain(option.usual) + ".";
  if (!option.limits.empty()) text += " Limits: " + plain(option.limits) + ".";
  if (!option.excludes.empty()) {
    text += " Not together with " + plain(CLI::detail::join(option.excludes, ", ")) + ".";
  }
  if (!option.needs.empty()) {
    text += " Only with " + plain(CLI::detail::join(option.needs, ", ")) + ".";
  }
  return text;
}

std::string entries(const std::vector<OptionOutline>& options) {
  std::string text;
  for (const OptionOutline& option : options) {
    text += ".TP\n" + named(option) + "\n" + explained(option) + "\n";
  }
  return text;
}

std::string optionsOf(const VerbOutline& verb) {
  std::string text;
  for (const OptionGroup& group : verb.groups) {
    if (!group.title.empty()) text += ".SS " + plain(group.title) + "\n";
    text += entries(group.options);
  }
  return text;
}

std::string synopsis(const Outline& outline, const VerbOutline& verb) {
  std::string text = bold(outline.program.name + " " + verb.name);
  for (const OptionOutline& option : verb.options()) {
    if (option.required) text += " " + bold(option.names[0]) + " " + italic(option.value);
  }
  text += " [" + italic("OPTION") + "]...";
  for (const OptionOutline& argument : verb.arguments) {
    const std::string name = italic(argument.names[0]) + (argument.repeated ? "..." : "");
    text += argument.required ? " " + name : " [" + name + "]";
  }
  return text + "\n";
}

const char kExitStatus[] = R"(.SH EXIT STATUS
.TP
0
All was done.
.TP
1
It failed; one line on standard error says where and why.
.TP
2
The command line cannot be understood.
)";

std::string pageName(const Outline& outline, const VerbOutline& verb) {
  return outline.program.name + "-" + verb.name;
}

}  // namespace

std::string programPage(const Outline& outline) {
  const VerbOutline& program = outline.program;
  std::string text = head(outline, program, program.name);
  text += bold(program.name) + " " + italic("VERB") + " [" + italic("OPTION") + "]...\n.SH VERBS\n";
  for (const VerbOutline& verb : outline.verbs) {
    text += ".TP\n" + bold(pageName(outline, verb)) + "(1)\n" + plain(verb.meaning) + ".\n";
  }
  return text + ".SH OPTIONS\n" + optionsOf(program) + kExitStatus;
}

std::string verbPage(const Outline& outline, const VerbOutline& verb) {
  std::string text = head(outline, verb, pageName(outline, verb)) + synopsis(outline, verb);
  if (!verb.arguments.empty()) text += ".SH ARGUMENTS\n" + entries(verb.arguments);
  text += ".SH OPTIONS\n" + optionsOf(verb);
  if (!outline.common.empty()) text += ".SS Of all verbs\n" + entries(outline.common);
  return text + kExitStatus + ".SH SEE ALSO\n" + bold(outline.program.name) + "(1)\n";
}

}  // namespace remora::tools
