// Progress of long work on standard error: one line that is updated on a terminal, a plain line now
// and then elsewhere.
#pragma once

#include <chrono>
#include <string>

namespace remora::tools {

class Progress {
 public:
  // `what` names the work ("training"), `unit` what is counted ("units"). A total of 0 is not
  // known; any other may be wrong.
  Progress(std::string what, std::string unit, long total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Counts work as done that was finished earlier: it does not enter the rate.
  void skip(long count);
  void advance();
  // What is done is all there was.
  void finish() { total_ = done_; }

 private:
  using Clock = std::chrono::steady_clock;

  void show(bool last);

  std::string what_;
  std::string unit_;
  long total_;
  long done_ = 0;
  long skipped_ = 0;
  bool terminal_;
  bool begun_ = false;  // something was shown
  Clock::time_point start_;
  Clock::time_point shown_;
};

}  // namespace remora::tools
