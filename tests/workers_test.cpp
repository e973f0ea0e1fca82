// Work that is spread over processes.
#include "follow/base/workers.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <vector>

#include "follow/error.h"

namespace remora {
namespace {

// Names in a folder of this process.
std::string pathTo(const std::string& name) {
  static const std::string folder = testing::TempDir() + "workers." + std::to_string(getpid());
  std::filesystem::create_directories(folder);
  return folder + '/' + name;
}

struct Outcome {
  std::vector<std::string> results;
  std::vector<std::string> repeated;
};

Outcome doAll(std::size_t count, int jobs, std::function<std::string(std::size_t)> run) {
  Outcome outcome;
  outcome.results.resize(count);
  Tasks tasks;
  tasks.count = count;
  tasks.run = std::move(run);
  tasks.done = [&](std::size_t task, const std::string& result) {
    outcome.results[task] += result;
  };
  tasks.name = [](std::size_t task) { return "piece " + std::to_string(task); };
  tasks.again = [&](const std::string& line) { outcome.repeated.push_back(line); };
  doTasks(tasks, jobs);
  std::sort(outcome.repeated.begin(), outcome.repeated.end());  // they come as it happens
  return outcome;
}

std::string failureOf(int jobs, const std::function<std::string(std::size_t)>& run) {
  try {
    doAll(5, jobs, run);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

// True once, for all processes.
bool isFirst(const std::string& file) {
  if (std::filesystem::exists(file)) return false;
  std::ofstream(file) << ' ';
  return true;
}

TEST(Workers, bringBackEveryResultOnce) {
  const auto run = [](std::size_t task) { return std::string(task * 100000, 'a') + '\0' + "end"; };
  const Outcome here = doAll(7, 1, run);
  EXPECT_EQ(here.results[6].size(), 600004U);
  EXPECT_EQ(doAll(7, 3, run).results, here.results);
  EXPECT_EQ(doAll(1, 3, [](std::size_t) { return std::to_string(getpid()); }).results[0],
            std::to_string(getpid()));
  EXPECT_NE(doAll(2, 2, [](std::size_t) { return std::to_string(getpid()); }).results[0],
            std::to_string(getpid()));
}

TEST(Workers, tryATaskAgainOnce) {
  const std::string killed = pathTo("killed"), failed = pathTo("failed");
  const Outcome outcome = doAll(6, 2, [&](std::size_t task) {
    if (task == 1 && isFirst(killed)) raise(SIGKILL);
    if (task == 4 && isFirst(failed)) throw Error("no room");
    return std::to_string(task);
  });
  EXPECT_EQ(outcome.results, (std::vector<std::string>{"0", "1", "2", "3", "4", "5"}));
  ASSERT_EQ(outcome.repeated.size(), 2U);
  EXPECT_EQ(outcome.repeated[0],
            "piece 1 failed and is tried again: its process was ended by signal 9");
  EXPECT_EQ(outcome.repeated[1], "piece 4 failed and is tried again: no room");

  EXPECT_EQ(failureOf(2,
                      [](std::size_t task) -> std::string {
                        if (task == 3) throw Error("no room");
                        return "";
                      }),
            "piece 3 failed twice: no room");
  EXPECT_EQ(failureOf(3,
                      [](std::size_t task) {
                        if (task == 0) raise(SIGKILL);
                        return std::string();
                      }),
            "piece 0 failed twice: its process was ended by signal 9");
}

TEST(Workers, leaveNoProcessBehind) {
  const std::string pids = pathTo("pids");
  Tasks tasks;
  tasks.count = 4;
  tasks.run = [&](std::size_t) {
    std::ofstream(pids, std::ios::app) << getpid() << '\n';
    sleep(600);
    return std::string();
  };
  tasks.done = [](std::size_t, const std::string&) {};
  const auto started = [&pids] {
    std::vector<pid_t> all;
    std::ifstream in(pids);
    for (pid_t pid = 0; in >> pid;) all.push_back(pid);
    return all;
  };
  tasks.wait = [&] {
    if (started().size() == 2) throw Error("enough");
  };
  EXPECT_THROW(doTasks(tasks, 2), Error);
  for (const pid_t pid : started()) EXPECT_NE(kill(pid, 0), 0) << pid;
}

}  // namespace
}  // namespace remora
