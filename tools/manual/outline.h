// What the command line offers, as plain values: manual pages and completion are made of them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace remora::tools {

enum class Value {
  kNone,    // a flag
  kChoice,  // one of some words
  kFile,
  kFolder,
  kOther,  // a number or a name, which nothing can complete
};

struct OptionOutline {
  std::vector<std::string> names;  // with their dashes; of an argument without, its one name
  Value kind = Value::kNone;
  std::string value;                 // what it takes, as FILE
  std::vector<std::string> choices;  // of Value::kChoice
  std::string limits;                // of numbers; may be empty
  std::string usual;                 // the default; may be empty
  std::string meaning;
  std::vector<std::string> excludes;  // options, by name
  std::vector<std::string> needs;
  bool required = false;
  bool repeated = false;
};

// Options that belong together.
struct OptionGroup {
  std::string title;  // empty of those that do not
  std::vector<OptionOutline> options;
};

struct VerbOutline {
  std::string name;
  std::string meaning;
  std::vector<OptionOutline> arguments;  // without dashes, in order
  std::vector<OptionGroup> groups;

  std::vector<OptionOutline> options() const;  // of all groups
};

struct Outline {
  VerbOutline program;  // its name, and the options that it has without a verb
  std::vector<VerbOutline> verbs;
  std::vector<OptionOutline> common;  // of the program's options, those that verbs take, too
  std::string version;
};

Outline outlineOf(CLI::App& program);

}  // namespace remora::tools
