// Work that is spread over processes of this machine.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "follow/export.h"

namespace remora {

// Tasks, each known by its number.
struct Tasks {
  std::size_t count = 0;
  // What a task does. With several jobs it runs in another process, and what it changes in memory
  // is lost there: the text that it returns, any bytes, comes back. It fails by throwing.
  std::function<std::string(std::size_t task)> run;
  // Told here, in the order in which tasks end. All further ones are given up when it throws.
  std::function<void(std::size_t task, const std::string& result)> done;
  // The rest may be left out. Names a task in messages.
  std::function<std::string(std::size_t task)> name;
  // With several jobs, called several times a second; all tasks are given up when it throws.
  std::function<void()> wait;
  // Told of a task that failed twice, and why; the others go on. Without it, doTasks() throws.
  std::function<void(std::size_t task, const std::string& reason)> failed;
  bool apart = false;  // one job is another process, too
  // Told, in a line, of a task that failed with several jobs, or whose process ended, and that is
  // tried again.
  std::function<void(const std::string& line)> again;
};

// Does all tasks. One job does them here, in order, and throws what they throw. Several are
// processes that are forked from this one now: they share its memory as it is, and get their tasks
// one by one. A task that fails there is tried once more, then `failed` is told, or Error names it.
// None of the processes is left behind, not even by a process that is killed.
REMORA_FOLLOW_EXPORT void doTasks(const Tasks& tasks, int jobs);

// The processors that this process may run on.
REMORA_FOLLOW_EXPORT int processors();

}  // namespace remora
