// What happens when a signal ends the program: to unfinished files, and to work in progress.
#pragma once

#include <csignal>
#include <string>

#include "follow/error.h"

namespace remora {

void removeWhenInterrupted(const std::string& path);
void keepWhenInterrupted(const std::string& path);

// Blocks interrupting signals while it lives; they take effect when the last one is destroyed.
class InterruptionsWait {
 public:
  InterruptionsWait();
  ~InterruptionsWait();
  InterruptionsWait(const InterruptionsWait&) = delete;
  InterruptionsWait& operator=(const InterruptionsWait&) = delete;

 private:
  sigset_t before_;
};

// Thrown when work stops at a noted interruption; says how far it came.
struct Interruption : Error {
  Interruption(const std::string& what, int by) : Error(what), signal(by) {}
  int signal;
};

// While it lives, an interrupting signal is only noted, so that work can stop between two steps; a
// second one ends the program at once. There must be one at a time.
class NotedInterruption {
 public:
  NotedInterruption();
  ~NotedInterruption();
  NotedInterruption(const NotedInterruption&) = delete;
  NotedInterruption& operator=(const NotedInterruption&) = delete;

  // The signal, or 0.
  int signal() const;
};

// Ends the program as the signal does by default.
void endBy(int signal);

}  // namespace remora
