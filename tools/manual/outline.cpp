#include "outline.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "follow/base/text.h"

namespace remora::tools {
namespace {

// What checks of values say about themselves. The parser adds that to the name of the value.
std::vector<std::string> checksOf(CLI::Option& option) {
  std::vector<std::string> checks;
  try {
    for (int i = 0;; ++i) {
      const std::string check = option.get_validator(i)->get_description();
      if (!check.empty()) checks.push_back(check);
    }
  } catch (const CLI::OptionNotFound&) {  // there are no more
  }
  return checks;
}

std::string valueOf(const CLI::Option& option, const std::vector<std::string>& checks) {
  std::string value = option.get_type_name();
  for (const std::string& check : checks) value.resize(value.size() - check.size() - 1);
  return value;
}

// A choice is named a|b, or checked as {a,b}.
std::vector<std::string> choicesOf(const std::string& value,
                                   const std::vector<std::string>& checks) {
  if (value.find('|') != std::string::npos) return split(value, '|');
  for (const std::string& check : checks) {
    if (check.size() > 2 && check.front() == '{' && check.back() == '}') {
      return split(check.substr(1, check.size() - 2), ',');
    }
  }
  return {};
}

// What is not known to be something else is taken for a file.
Value kindOf(const std::string& value) {
  static const std::vector<std::string> others = {"BYTES",   "COUNT",  "FACTOR", "FIRST",
                                                  "NAME",    "NUMBER", "PIXELS", "RADIUS",
                                                  "SECONDS", "SHARE",  "STEP",   "WIDTHxHEIGHT"};
  const std::string first = value.substr(0, value.find_first_of("-+,:/["));
  if (first == "FOLDER") return Value::kFolder;
  return std::count(others.begin(), others.end(), first) > 0 ? Value::kOther : Value::kFile;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  if (!option.nonpositional()) return {option.get_name(true)};
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::vector<std::string> sortedNames(const std::set<CLI::Option*>& options) {
  std::vector<std::string> names;
  for (const CLI::Option* option : options) names.push_back(option->get_name());
  std::sort(names.begin(), names.end());  // the set has them in the order of addresses
  return names;
}

OptionOutline outlineOf(CLI::Option& option) {
  OptionOutline outline;
  outline.names = namesOf(option);
  outline.meaning = option.get_description();
  outline.excludes = sortedNames(option.get_excludes());
  outline.needs = sortedNames(option.get_needs());
  if (option.get_expected_max() == 0) return outline;
  const std::vector<std::string> checks = checksOf(option);
  outline.value = valueOf(option, checks);
  outline.choices = choicesOf(outline.value, checks);
  outline.kind = outline.choices.empty() ? kindOf(outline.value) : Value::kChoice;
  if (outline.choices.empty()) outline.limits = CLI::detail::join(checks, ", ");
  outline.usual = option.get_default_str();
  outline.required = option.get_required();
  outline.repeated = option.get_expected_max() == CLI::detail::expected_max_vector_size ||
                     option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return outline;
}

std::string titleOf(const CLI::App& group) {
  const std::size_t least = group.get_require_option_min();
  const std::size_t most = group.get_require_option_max();
  std::string title = group.get_description();
  if (most == 1) title += least == 1 ? ": one of these" : ": one of these at most";
  return title;
}

// Groups of options are verbs without a name.
void collect(CLI::App& app, VerbOutline& verb, const std::string& title) {
  OptionGroup group{title, {}};
  for (CLI::Option* option : app.get_options()) {
    const bool again = app.get_name().empty() && option == app.get_help_ptr();
    if (again || option->get_group().empty()) continue;  // no group: hidden
    (option->nonpositional() ? group.options : verb.arguments).push_back(outlineOf(*option));
  }
  if (!group.options.empty()) verb.groups.push_back(std::move(group));
  for (CLI::App* part : app.get_subcommands({})) {
    if (part->get_name().empty()) collect(*part, verb, titleOf(*part));
  }
}

VerbOutline verbOf(CLI::App& app) {
  VerbOutline verb;
  verb.name = app.get_name();
  verb.meaning = app.get_description();
  collect(app, verb, "");
  return verb;
}

}  // namespace

std::vector<OptionOutline> VerbOutline::options() const {
  std::vector<OptionOutline> all;
  for (const OptionGroup& group : groups) {
    all.insert(all.end(), group.options.begin(), group.options.end());
  }
  return all;
}

Outline outlineOf(CLI::App& program) {
  Outline outline;
  outline.program = verbOf(program);
  outline.version = program.version();
  for (CLI::App* verb : program.get_subcommands({})) {
    if (!verb->get_name().empty()) outline.verbs.push_back(verbOf(*verb));
  }
  for (CLI::Option* option : program.get_options()) {
    const bool own = option == program.get_help_ptr() || option == program.get_version_ptr();
    if (!own) outline.common.push_back(outlineOf(*option));
  }
  return outline;
}

}  // namespace remora::tools
