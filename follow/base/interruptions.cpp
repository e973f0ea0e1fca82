#include "follow/base/interruptions.h"

#include <unistd.h>

#include <atomic>
#include <set>

namespace remora {
namespace {

constexpr int kInterruptions[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU};

volatile std::sig_atomic_t noting = 0;
volatile std::sig_atomic_t noted = 0;

// Taken by the thread that changes it, with its signals blocked, and by the handler, which may run
// in another thread.
std::atomic_flag taken = ATOMIC_FLAG_INIT;

std::set<std::string>& unfinished() {
  static std::set<std::string> paths;
  return paths;
}

class Taken {
 public:
  Taken() {
    while (taken.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Taken() { taken.clear(std::memory_order_release); }
  Taken(const Taken&) = delete;
  Taken& operator=(const Taken&) = delete;
};

extern "C" void handle(int signal) {
  const bool is_by_user = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
  if (noting != 0 && noted == 0 && is_by_user) {
    noted = signal;
    return;
  }
  const Taken alone;
  for (const std::string& path : unfinished()) unlink(path.c_str());
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

void handleInterruptions() {
  for (const int signal : kInterruptions) {
    if (std::signal(signal, handle) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

void handleInterruptionsAsWorker() {
  noting = 0;
  noted = 0;
  taken.clear();  // whatever another thread of the parent held
  unfinished().clear();
  for (const int ignored : {SIGINT, SIGHUP, SIGQUIT}) std::signal(ignored, SIG_IGN);
  std::signal(SIGTERM, handle);
  // Signals that waited are the parent's; those that come from now on end this process.
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

InterruptionsWait::InterruptionsWait() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kInterruptions) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

InterruptionsWait::~InterruptionsWait() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

void removeWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  const Taken alone;
  unfinished().insert(path);
}

void keepWhenInterrupted(const std::string& path) {
  const InterruptionsWait wait;
  const Taken alone;
  unfinished().erase(path);
}

NotedInterruption::NotedInterruption() {
  const InterruptionsWait wait;
  noted = 0;
  noting = 1;
}

NotedInterruption::~NotedInterruption() { noting = 0; }

int NotedInterruption::signal() const { return noted; }

void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace remora
