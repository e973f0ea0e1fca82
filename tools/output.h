// Where the program's words go.
#pragma once

#include <string>

#include "follow/error.h"

namespace remora::tools {

// The command line itself cannot be understood; exit status 2.
struct Misuse : Error {
  using Error::Error;
};

// Prints data to standard output. Fails when not all of it could be written.
void printData(const std::string& text);

// Whether standard output is a terminal.
bool isTerminal();

// A line on standard error.
void say(const std::string& line);

}  // namespace remora::tools
