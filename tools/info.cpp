// remora info: what a file holds.

#include <CLI/CLI.hpp>
#include <memory>

#include "follow/report/inspection.h"
#include "output.h"
#include "verbs.h"

namespace remora::tools {

void addInfo(CLI::App& app) {
  auto file = std::make_shared<std::string>();
  CLI::App* const verb = app.add_subcommand("info", "Say what a file or a model folder holds");
  verb->add_option("file", *file, "File, or folder of a model")->required()->type_name("FILE");
  verb->callback([file] { printData(describe(*file)); });
}

}  // namespace remora::tools
