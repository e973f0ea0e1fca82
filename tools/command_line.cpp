#include "command_line.h"

#include <CLI/CLI.hpp>

#include "follow/base/engine_messages.h"
#include "verbs.h"

namespace remora::tools {

std::unique_ptr<CLI::App> commandLine() {
  auto app = std::make_unique<CLI::App>(
      "Learns and runs linear predictors that track feature points through image sequences.",
      "remora");
  app->set_version_flag("--version", REMORA_VERSION);
  app->require_subcommand(0, 1);
  app->fallthrough();
  app->add_flag("-v,--verbose", "Show the library's messages on standard error")
      ->each([](const std::string&) { showEngineMessages(true); });
  addFrames(*app);
  addTrain(*app);
  addJoin(*app);
  addTrack(*app);
  addAnnotate(*app);
  addSuggest(*app);
  addRender(*app);
  addEvaluate(*app);
  addExport(*app);
  addImport(*app);
  addConvert(*app);
  addInfo(*app);
  addDemo(*app);
  for (CLI::App* const verb : app->get_subcommands({})) verb->group("Verbs");
  app->get_formatter()->label("SUBCOMMAND", "VERB");
  app->footer("remora help VERB, or remora VERB --help, says more.");
  return app;
}

}  // namespace remora::tools
