// remora export: two bunch files become a flat LP file.

#include <CLI/CLI.hpp>
#include <memory>

#include "follow/training/joining.h"
#include "verbs.h"

namespace remora::tools {

void addExport(CLI::App& app) {
  struct Options {
    std::string x, y, flat;
  };
  auto options = std::make_shared<Options>();
  CLI::App* const verb =
      app.add_subcommand("export", "Join an x- and a y-trained bunch file into a flat LP file");
  verb->add_option("x", options->x, "Bunch file trained for x")->required()->type_name("FILE");
  verb->add_option("y", options->y, "Bunch file trained for y")->required()->type_name("FILE");
  verb->add_option("-o,--output", options->flat, "Flat LP file to write")
      ->required()
      ->type_name("FILE");
  verb->callback([options] { exportFlat(options->x, options->y, options->flat); });
}

}  // namespace remora::tools
