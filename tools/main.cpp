// The program remora: trains models on annotated footage and tracks with them.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command_line.h"
#include "follow/base/interruptions.h"
#include "output.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// A file that is opened later must not get the descriptor of a closed standard stream. The streams
// are opened the wrong way round, so that using them fails as before.
void openStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

// `help VERB` is another way to say `VERB --help`.
std::vector<std::string> argumentsOf(int argc, char** argv) {
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (!arguments.empty() && arguments[0] == "help") {
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
  }
  return arguments;
}

// The first word of a command line is a verb, if it has one.
void requireVerb(const CLI::App& app, const std::vector<std::string>& arguments) {
  const auto verb = std::find_if(arguments.begin(), arguments.end(),
                                 [](const std::string& word) { return word.rfind('-', 0) != 0; });
  const bool is_given = verb != arguments.end();
  if (!is_given && !arguments.empty()) return;  // options alone, as --version
  std::string verbs;
  for (const CLI::App* known : app.get_subcommands({})) {
    if (is_given && known->get_name() == *verb) return;
    verbs += (verbs.empty() ? "" : ", ") + known->get_name();
  }
  throw remora::tools::Misuse((is_given ? "there is no verb " + *verb : "a verb is needed") +
                              "; the verbs are " + verbs);
}

int run(int argc, char** argv) {
  const std::unique_ptr<CLI::App> line = remora::tools::commandLine();
  CLI::App& app = *line;
  std::vector<std::string> arguments = argumentsOf(argc, argv);
  requireVerb(app, arguments);
  try {
    std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
    app.parse(std::move(arguments));
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A verb");
  } catch (const CLI::Success& help) {
    app.exit(help);
    if (!std::cout.flush()) throw remora::Error("cannot write to standard output");
  } catch (const CLI::ParseError& error) {
    // Unknown options are reported first: one may be a required option, misspelt.
    const std::vector<std::string> unknown = app.remaining(true);
    throw remora::tools::Misuse(
        (unknown.empty() ? error.what() : "not expected: " + CLI::detail::join(unknown, " ")) +
        "; --help says more");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  remora::handleInterruptions();
  std::signal(SIGXFSZ, SIG_IGN);  // writing beyond a limit of size is an error then
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::string line = error.what();
    for (char& c : line) c = c >= 0 && c < ' ' ? '?' : c;
    std::fprintf(stderr, "remora: %s\n", line.c_str());
    const auto* const interruption = dynamic_cast<const remora::Interruption*>(&error);
    if (interruption != nullptr) remora::endBy(interruption->signal);
    return dynamic_cast<const remora::tools::Misuse*>(&error) == nullptr ? kFailed : kUsage;
  }
}
