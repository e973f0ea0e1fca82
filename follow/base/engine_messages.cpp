#include "follow/base/engine_messages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <utility>

#include "follow/error.h"

namespace remora {
namespace {

std::mutex& onlyOne() {
  static std::mutex mutex;
  return mutex;
}

std::FILE* newMessageFile() {
  const int descriptor = memfd_create("messages", MFD_CLOEXEC);
  return descriptor < 0 ? nullptr : fdopen(descriptor, "w+");
}

// Never closed: another thread may be about to print to it, as it takes it for its own stdout. A
// forked process has one of its own, or messages of both would be mixed.
std::FILE* messageFile() {
  static std::FILE* file = nullptr;
  static pid_t owner = 0;
  if (owner != getpid()) {
    file = newMessageFile();
    owner = getpid();
  }
  return file;
}

std::atomic<bool> shown = false;

}  // namespace

void showEngineMessages(bool show) { shown = show; }

EngineMessages::EngineMessages() : alone_(onlyOne()) {
  file_ = messageFile();
  if (file_ == nullptr) throw Error("there is no room for the engine's messages");
  real_ = std::exchange(stdout, file_);
}

EngineMessages::~EngineMessages() {
  take();
  stdout = real_;
}

std::string EngineMessages::take() {
  std::fflush(file_);
  const int descriptor = fileno(file_);
  const off_t size = lseek(descriptor, 0, SEEK_END);
  std::string messages(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  const ssize_t read = pread(descriptor, messages.data(), messages.size(), 0);
  messages.resize(static_cast<std::size_t>(read > 0 ? read : 0));
  if (shown) std::fputs(messages.c_str(), stderr);
  if (ftruncate(descriptor, 0) == 0) lseek(descriptor, 0, SEEK_SET);
  return messages;
}

std::string EngineMessages::reason() {
  std::istringstream messages(take());
  std::string last;
  for (std::string line; std::getline(messages, line);) {
    if (line.rfind("malformed ", 0) == 0 || line.rfind("cannot open ", 0) == 0) return line;
    if (!line.empty()) last = line;
  }
  return last;
}

}  // namespace remora
