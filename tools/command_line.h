// The command line of the program: its verbs and their options. Help, manual pages and completion
// are all made of it.
#pragma once

#include <memory>

namespace CLI {
class App;
}

namespace remora::tools {

std::unique_ptr<CLI::App> commandLine();

}  // namespace remora::tools
