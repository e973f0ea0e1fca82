// Standard output is for data. The library prints its messages there too, so they are caught before
// they can mix with it.
#pragma once

#include <string>

namespace remora::tools {

// Turns standard output over to the library's messages and keeps the real one for data. Called
// once, before anything is printed.
void separateMessages();

// Prints to the real standard output. Fails when not all of it could be written.
void printData(const std::string& text);

// Whether the real standard output is a terminal.
bool isTerminal();

// With true, messages are also shown on standard error as they are taken.
void showMessages(bool show);

// What the library has said since the last call.
std::string takeMessages();

// Why an operation failed: of what the library has said since the last call, the line that names a
// file it could not use, else the last line.
std::string lastMessage();

// Around a call of the library that may end the process: its last message is then printed as the
// program's failure.
class ExplainedExit {
 public:
  ExplainedExit();
  ~ExplainedExit();
  ExplainedExit(const ExplainedExit&) = delete;
  ExplainedExit& operator=(const ExplainedExit&) = delete;
};

}  // namespace remora::tools
