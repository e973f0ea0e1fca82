// What happens when a signal ends the program: to unfinished files, and to work in progress.
#pragma once

#include <csignal>
#include <string>

#include "follow/error.h"
#include "follow/export.h"

namespace remora {

// From now on, signals that interrupt a program are handled as below. A host that does not call it
// keeps its own handling, and may be left with unfinished files.
REMORA_FOLLOW_EXPORT void handleInterruptions();

// For a process that was just forked to work for this one: what the terminal sends is for the
// parent to judge, files that the parent has not finished are not touched, and SIGTERM ends the
// process without leaving unfinished ones of its own.
void handleInterruptionsAsWorker();

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
struct REMORA_FOLLOW_EXPORT Interruption : Error {
  Interruption(const std::string& what, int by) : Error(what), signal(by) {}
  int signal;
};

// While it lives, an interrupting signal is only noted, so that work can stop between two steps; a
// second one ends the program at once. There must be one at a time.
class REMORA_FOLLOW_EXPORT NotedInterruption {
 public:
  NotedInterruption();
  ~NotedInterruption();
  NotedInterruption(const NotedInterruption&) = delete;
  NotedInterruption& operator=(const NotedInterruption&) = delete;

  // The signal, or 0.
  int signal() const;
};

// Ends the program as the signal does by default.
REMORA_FOLLOW_EXPORT void endBy(int signal);

}  // namespace remora
