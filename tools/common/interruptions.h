// What happens when a signal ends the program: to unfinished files, and to work in progress.
#pragma once

#include <csignal>
#include <string>

#include "common/failure.h"

namespace remora::tools {

void removeWhenInterrupted(const std::string& path);
void keepWhenInterrupted(const std::string& path);

// Interruptions take effect when the last of these is gone.
class InterruptionsWait {
 public:
  InterruptionsWait();
  ~InterruptionsWait();
  InterruptionsWait(const InterruptionsWait&) = delete;
  InterruptionsWait& operator=(const InterruptionsWait&) = delete;

 private:
  sigset_t before_;
};

// Ends work that was interrupted and could say how far it came.
struct Interruption : Failure {
  Interruption(const std::string& what, int by) : Failure(what), signal(by) {}
  int signal;
};

// While it lives, an interruption by the user is only noted, so that work can end in good order; a
// second one ends the program at once. There is one at a time.
class NotedInterruption {
 public:
  NotedInterruption();
  ~NotedInterruption();
  NotedInterruption(const NotedInterruption&) = delete;
  NotedInterruption& operator=(const NotedInterruption&) = delete;

  // The signal, or 0.
  int signal() const;
};

// As if nobody had noted the signal.
void endBy(int signal);

}  // namespace remora::tools
