#include "rows.h"

#include <unistd.h>

#include <cstdlib>

namespace remora::bench {

Rows::Rows() : out_(fdopen(dup(STDOUT_FILENO), "w")) {
  if (out_ == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  std::fputs("| operation | load | kernels | measured | ratio | target | met |\n", out_);
  std::fputs("|---|---|---|---|---|---|---|\n", out_);
}

Rows::~Rows() { std::fclose(out_); }

void Rows::add(const std::string& what, const std::string& load, const std::vector<Result>& results,
               const Targets& targets) {
  for (std::size_t i = 1; i < results.size(); ++i) {
    char time[64];
    std::snprintf(time, sizeof time, "%.0f us", results[i].seconds * 1e6);
    add(what, load, results[i].name, time, results[i].ratio, targets[i - 1]);
  }
}

void Rows::add(const std::string& what, const std::string& load, const std::string& candidate,
               const std::string& measured, double ratio, double target) {
  std::fprintf(out_, "| %s | %s | %s | %s | %.2f | ", what.c_str(), load.c_str(), candidate.c_str(),
               measured.c_str(), ratio);
  if (target > 0.0) {
    std::fprintf(out_, "%.2f | %s |\n", target, ratio >= target ? "yes" : "**no**");
  } else {
    std::fputs("| |\n", out_);
  }
  std::fflush(out_);
}

}  // namespace remora::bench
