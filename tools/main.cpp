// The program remora: trains models on annotated footage and tracks with them.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "common/failure.h"
#include "common/streams.h"
#include "verbs.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

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
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "remora: %s\nRun with --help for more information.\n", error.what());
    return kUsage;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "remora: %s\n", error.what());
    return dynamic_cast<const remora::tools::Misuse*>(&error) == nullptr ? kFailed : kUsage;
  }
}
