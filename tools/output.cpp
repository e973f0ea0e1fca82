#include "output.h"

#include <unistd.h>

#include <cstdio>

namespace remora::tools {

void printData(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Error("cannot write to standard output");
  }
}

bool isTerminal() { return isatty(STDOUT_FILENO) == 1; }

void say(const std::string& line) { std::fprintf(stderr, "remora: %s\n", line.c_str()); }

}  // namespace remora::tools
