#include "common/interruptions.h"

#include <unistd.h>

#include <set>

namespace remora::tools {
namespace {

constexpr int kInterruptions[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU};

// It changes only while interruptions wait.
std::set<std::string>& unfinished() {
  static std::set<std::string> paths;
  return paths;
}

extern "C" void removeUnfinished(int signal) {
  for (const std::string& path : unfinished()) unlink(path.c_str());
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

InterruptionsWait::InterruptionsWait() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kInterruptions) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, &before_);
}

InterruptionsWait::~InterruptionsWait() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

void removeWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  unfinished().insert(path);
  for (const int signal : kInterruptions) {
    if (std::signal(signal, removeUnfinished) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

void keepWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  unfinished().erase(path);
}

}  // namespace remora::tools
