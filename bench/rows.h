// The table that a report prints.
#pragma once

#include <string>
#include <vector>

#include "rounds.h"

namespace remora::bench {

// The least ratio wanted of the plain, AVX2 and AVX-512 kernels; 0: none is.
using Targets = std::vector<double>;

class Rows {
 public:
  Rows();

  // results[0] is what the others are compared with.
  void add(const std::string& what, const std::string& load, const std::vector<Result>& results,
           const Targets& targets);
  void add(const std::string& what, const std::string& load, const std::string& set, double value,
           double target);
};

void measureRunTime(Rows& rows);

}  // namespace remora::bench
