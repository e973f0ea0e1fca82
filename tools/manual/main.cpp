// Writes manual pages, and completion for shells, into a folder: remora_manual FOLDER

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "completion.h"
#include "follow/base/files.h"
#include "man_pages.h"

namespace {

void write(const std::string& folder) {
  using namespace remora::tools;
  const Outline outline = outlineOf(*commandLine());
  const std::string& program = outline.program.name;
  const auto put = [&folder](const std::string& part, const std::string& name,
                             const std::string& text) {
    remora::makeFolder(folder + "/" + part);
    remora::writeFile(folder + "/" + part + "/" + name, text);
  };
  put("man1", program + ".1", programPage(outline));
  for (const VerbOutline& verb : outline.verbs) {
    put("man1", program + "-" + verb.name + ".1", verbPage(outline, verb));
  }
  put("bash", program, bashCompletion(outline));
  put("zsh", "_" + program, zshCompletion(outline));
  put("fish", program + ".fish", fishCompletion(outline));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: remora_manual FOLDER\n");
    return 2;
  }
  try {
    write(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "remora_manual: %s\n", error.what());
    return 1;
  }
  return 0;
}
