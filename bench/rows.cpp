#include "rows.h"

#include <cstdio>

namespace remora::bench {

Rows::Rows() {
  std::puts("| operation | load | kernels | time | ratio | target | met |");
  std::puts("|---|---|---|---|---|---|---|");
}

void Rows::add(const std::string& what, const std::string& load,
               const std::vector<Result>& results, const Targets& targets) {
  for (std::size_t i = 1; i < results.size(); ++i) {
    const double target = targets[i - 1];
    std::printf("| %s | %s | %s | %.1f us | %.2f | %.2f | %s |\n", what.c_str(), load.c_str(), results[i].name.c_str(),
                results[i].seconds * 1e6, results[i].ratio, target, results[i].ratio >= target ? "yes" : "**no**");
  }
  std::fflush(stdout);
}

}  // namespace remora::bench
