// Prints what the library's operations gain over straightforward code, in one table.
#include <cstdio>
#include <cstring>

#include "rows.h"

namespace {

struct Group {
  const char* name;
  void (*measure)(remora::bench::Rows& rows);
};

constexpr Group kGroups[] = {{"run_time", remora::bench::measureRunTime},
                             {"training", remora::bench::measureTraining},
                             {"memory", remora::bench::measureMemory},
                             {"files", remora::bench::measureFiles}};

bool isWanted(const char* name, int argc, char** argv) {
  bool wanted = argc == 1;
  for (int i = 1; i < argc; ++i) wanted = wanted || std::strcmp(argv[i], name) == 0;
  return wanted;
}

}  // namespace

int main(int argc, char** argv) {
  remora::bench::Rows rows;
  for (const Group& group : kGroups) {
    if (isWanted(group.name, argc, argv)) group.measure(rows);
  }
}
