// The program remora: trains models on annotated footage and tracks with them.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "common/failure.h"
#include "common/interruptions.h"
#include "common/streams.h"
#include "verbs.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// Files that are opened later must not take the place of a closed standard stream; what is printed
// to one still fails.
void openStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

int run(int argc, char** argv) {
  CLI::App app(
      "Learns and runs linear predictors that track feature points through image sequences.",
      "remora");
  app.set_version_flag("--version", REMORA_VERSION);
  app.require_subcommand(0, 1);
  app.fallthrough();
  bool verbose = false;
  app.add_flag("-v,--verbose", verbose, "Show the library's messages on standard error")
      ->each([](const std::string&) { remora::tools::showMessages(true); });
  remora::tools::addTrain(app);
  remora::tools::addTrack(app);
  remora::tools::addEvaluate(app);
  remora::tools::addExport(app);
  remora::tools::addInfo(app);
  remora::tools::addDemo(app);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A subcommand");
  } catch (const CLI::Success& help) {
    app.exit(help);
    if (!std::cout.flush()) throw remora::tools::Failure("cannot write to standard output");
  } catch (const CLI::ParseError& error) {
    throw remora::tools::Misuse(std::string(error.what()) + "; --help says more");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  std::signal(SIGXFSZ, SIG_IGN);  // writing fails then, and says so
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::string line = error.what();
    for (char& c : line) c = c >= 0 && c < ' ' ? '?' : c;
    std::fprintf(stderr, "remora: %s\n", line.c_str());
    const auto* const interruption = dynamic_cast<const remora::tools::Interruption*>(&error);
    if (interruption != nullptr) remora::tools::endBy(interruption->signal);
    return dynamic_cast<const remora::tools::Misuse*>(&error) == nullptr ? kFailed : kUsage;
  }
}
