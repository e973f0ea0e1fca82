#include "common/streams.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "common/failure.h"

namespace remora::tools {
namespace {

std::FILE* real_output = stdout;
bool shown = false;
bool may_end = false;

void explainExit() {
  if (may_end) std::fprintf(stderr, "remora: %s\n", lastMessage().c_str());
}

}  // namespace

void separateMessages() {
  const int file = memfd_create("messages", MFD_CLOEXEC);
  std::FILE* const messages = file < 0 ? nullptr : fdopen(file, "w+");
  if (messages == nullptr) throw Failure("there is no room for messages");
  real_output = std::exchange(stdout, messages);
}

void printData(const std::string& text) {
  std::fputs(text.c_str(), real_output);
  if (std::fflush(real_output) != 0 || std::ferror(real_output) != 0)
    throw Failure("cannot write to standard output");
}

bool isTerminal() { return isatty(fileno(real_output)) == 1; }

void showMessages(bool show) { shown = show; }

std::string takeMessages() {
  if (stdout == real_output) return {};
  std::fflush(stdout);
  const int message_file = fileno(stdout);
  const off_t size = lseek(message_file, 0, SEEK_END);
  std::string messages(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  const ssize_t read = pread(message_file, messages.data(), messages.size(), 0);
  messages.resize(static_cast<std::size_t>(read > 0 ? read : 0));
  if (ftruncate(message_file, 0) == 0) lseek(message_file, 0, SEEK_SET);
  if (shown) std::fputs(messages.c_str(), stderr);
  return messages;
}

std::string lastMessage() {
  std::istringstream messages(takeMessages());
  std::string last;
  for (std::string line; std::getline(messages, line);) {
    if (line.rfind("malformed ", 0) == 0 || line.rfind("cannot open ", 0) == 0) return line;
    if (!line.empty()) last = line;
  }
  return last;
}

ExplainedExit::ExplainedExit() {
  static const int registered = std::atexit(explainExit);
  may_end = registered == 0;
}

ExplainedExit::~ExplainedExit() { may_end = false; }

}  // namespace remora::tools
