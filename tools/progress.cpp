#include "progress.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <utility>

#include "follow/base/text.h"

namespace remora::tools {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr Seconds kTerminalPause{0.1};
constexpr Seconds kLogPause{10.0};

std::string duration(double seconds) {
  const long whole = std::lround(seconds);
  return whole < 60 ? format("%ld s", whole) : format("%ld min %02ld s", whole / 60, whole % 60);
}

}  // namespace

Progress::Progress(std::string what, std::string unit, long total)
    : what_(std::move(what)),
      unit_(std::move(unit)),
      total_(total),
      terminal_(isatty(STDERR_FILENO) == 1),
      start_(Clock::now()),
      shown_(start_) {}

Progress::~Progress() {
  if (done_ == total_ && done_ > 0) {
    show(true);
  } else if (terminal_ && begun_) {
    std::fputs("\n", stderr);  // broken off: whatever comes next starts its own line
  }
}

void Progress::skip(long count) {
  done_ += count;
  skipped_ += count;
}

void Progress::advance() {
  ++done_;
  if (Clock::now() - shown_ >= (terminal_ ? kTerminalPause : kLogPause)) show(false);
}

void Progress::show(bool last) {
  shown_ = Clock::now();
  begun_ = true;
  const double elapsed = Seconds(shown_ - start_).count();
  const double rate = elapsed > 0.0 ? static_cast<double>(done_ - skipped_) / elapsed : 0.0;
  std::string line = format("%s: %ld", what_.c_str(), done_);
  if (total_ >= done_) line += format(" of %ld", total_);
  line += ' ' + unit_;
  if (rate > 0.0) line += format(", %.1f/s", rate);
  if (last) {
    line += ", " + duration(elapsed);
  } else if (rate > 0.0 && total_ >= done_) {
    line += ", " + duration(static_cast<double>(total_ - done_) / rate) + " left";
  }
  std::fprintf(stderr, terminal_ ? "\r\033[K%s%s" : "%s%s", line.c_str(),
               terminal_ && !last ? "" : "\n");
  std::fflush(stderr);
}

}  // namespace remora::tools
