// The table that a report prints.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "rounds.h"

namespace remora::bench {

// The least ratio wanted of each result after the first, in their order; 0 where none is.
using Targets = std::vector<double>;

class Rows {
 public:
  // Prints the table's head. From now on the library's own lines go nowhere.
  Rows();
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // results[0] is what the others are compared with.
  void add(const std::string& what, const std::string& load, const std::vector<Result>& results,
           const Targets& targets);
  void add(const std::string& what, const std::string& load, const std::string& candidate,
           const std::string& measured, double ratio, double target);

 private:
  std::FILE* out_;
};

void measureRunTime(Rows& rows);
void measureTraining(Rows& rows);
void measureMemory(Rows& rows);
void measureFiles(Rows& rows);

}  // namespace remora::bench
