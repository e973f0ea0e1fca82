// The engine prints its messages to standard output. Here they are caught instead.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>

#include "follow/export.h"

namespace remora {

// With true, what the engine prints is passed on to standard error, too, as it is taken.
REMORA_FOLLOW_EXPORT void showEngineMessages(bool show);

// While one lives, what goes to the C stream `stdout` of the process goes to it and not to the real
// standard output. Only one lives at a time: another thread that makes one waits.
class REMORA_FOLLOW_EXPORT EngineMessages {
 public:
  EngineMessages();
  ~EngineMessages();
  EngineMessages(const EngineMessages&) = delete;
  EngineMessages& operator=(const EngineMessages&) = delete;

  // What was printed since the last call.
  std::string take();
  // Of that, the line that says why an operation failed: the one that names a file the engine could
  // not use, else the last one.
  std::string reason();

 private:
  std::unique_lock<std::mutex> alone_;
  std::FILE* file_;
  std::FILE* real_;
};

}  // namespace remora
