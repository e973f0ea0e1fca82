// What happens to unfinished files when a signal ends the program.
#pragma once

#include <csignal>
#include <string>

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

}  // namespace remora::tools
