// Prints what the library's operations gain over straightforward code, in one table.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

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
  for (int i = 1; i < argc; ++i) {
    const bool known = std::any_of(std::begin(kGroups), std::end(kGroups), [&](const Group& g) {
      return std::strcmp(argv[i], g.name) == 0;
    });
    if (!known) {
      std::fprintf(stderr, "%s is none of run_time, training, memory, files\n", argv[i]);
      return 2;
    }
  }
  remora::bench::Rows rows;
  for (const Group& group : kGroups) {
    if (isWanted(group.name, argc, argv)) group.measure(rows);
  }
}
