#include "follow/base/workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <deque>
#include <exception>
#include <limits>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "follow/base/interruptions.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr int kPause = 200;  // ms
constexpr std::size_t kNoTask = std::numeric_limits<std::size_t>::max();

// What comes back before the text of a result, or before the reason of a failure.
struct Answer {
  std::uint64_t size;
  std::uint64_t failed;
};

bool sendAll(int channel, const void* data, std::size_t size) {
  const char* at = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = send(channel, at, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool receiveAll(int channel, void* data, std::size_t size) {
  char* at = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t received = recv(channel, at, size, 0);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return false;
    at += received;
    size -= static_cast<std::size_t>(received);
  }
  return true;
}

// The life of a worker: it ends when nobody asks any more.
[[noreturn]] void serve(int channel, const Tasks& tasks) {
  std::uint64_t task = 0;
  while (receiveAll(channel, &task, sizeof task)) {
    Answer answer{0, 0};
    std::string text;
    try {
      text = tasks.run(static_cast<std::size_t>(task));
    } catch (const std::exception& error) {
      answer.failed = 1;
      text = error.what();
    }
    answer.size = text.size();
    if (!sendAll(channel, &answer, sizeof answer) || !sendAll(channel, text.data(), text.size())) {
      break;
    }
  }
  _exit(0);  // buffers that were full when this process began are not its own to write
}

class Worker {
 public:
  // `others` are channels that belong to the parent alone.
  Worker(const Tasks& tasks, const std::vector<int>& others) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail();
    const pid_t parent = getpid();
    const InterruptionsWait wait;  // until the child handles signals as a worker does
    id_ = fork();
    if (id_ == 0) {
      for (const int other : others) close(other);
      close(ends[0]);
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (getppid() != parent) _exit(0);
      handleInterruptionsAsWorker();
      serve(ends[1], tasks);
    }
    close(ends[1]);
    if (id_ < 0) {
      close(ends[0]);
      fail();
    }
    channel_ = ends[0];
  }
  ~Worker() {
    close(channel_);
    if (id_ > 0) kill(id_, SIGTERM);
    end();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  int channel() const { return channel_; }
  std::size_t task() const { return task_; }
  bool isIdle() const { return task_ == kNoTask; }

  // A worker that has ended does not take it, which is found when its answer is read.
  void give(std::size_t task) {
    const std::uint64_t number = task;
    task_ = task;
    sendAll(channel_, &number, sizeof number);
  }

  // False when the process has ended.
  bool take(bool& failed, std::string& text) {
    Answer answer{0, 0};
    if (!receiveAll(channel_, &answer, sizeof answer)) return false;
    text.assign(static_cast<std::size_t>(answer.size), '\0');
    failed = answer.failed != 0;
    task_ = kNoTask;
    return receiveAll(channel_, text.data(), text.size());
  }

  // Why a process ended.
  std::string end() {
    int status = 0;
    pid_t ended = id_;
    if (id_ > 0) {
      do ended = waitpid(id_, &status, 0);
      while (ended < 0 && errno == EINTR);
    }
    id_ = -1;
    if (ended > 0 && WIFSIGNALED(status)) {
      return format("its process was ended by signal %d", WTERMSIG(status));
    }
    return "its process ended";
  }

 private:
  [[noreturn]] static void fail() {
    throw Error(std::string("cannot start a process: ") + std::strerror(errno));
  }

  pid_t id_ = -1;
  int channel_ = -1;
  std::size_t task_ = kNoTask;
};

class Spreading {
 public:
  Spreading(const Tasks& tasks, std::size_t workers) : tasks_(tasks) {
    while (workers_.size() < workers) workers_.push_back(started());
  }

  void doAll() {
    while (done_ < tasks_.count) {
      giveAll();
      const std::vector<std::size_t> ready = readyWorkers();
      if (tasks_.wait) tasks_.wait();
      for (const std::size_t worker : ready) hear(worker);
    }
  }

 private:
  std::unique_ptr<Worker> started() const {
    std::vector<int> channels;
    for (const auto& worker : workers_) {
      if (worker) channels.push_back(worker->channel());
    }
    return std::make_unique<Worker>(tasks_, channels);
  }

  void giveAll() {
    for (const auto& worker : workers_) {
      if (!worker->isIdle()) continue;
      if (!failed_.empty()) {
        worker->give(failed_.front());
        failed_.pop_front();
      } else if (next_ < tasks_.count) {
        worker->give(next_++);
      }
    }
  }

  std::vector<std::size_t> readyWorkers() {
    std::vector<pollfd> waiting;
    for (const auto& worker : workers_) waiting.push_back({worker->channel(), POLLIN, 0});
    std::vector<std::size_t> ready;
    if (poll(waiting.data(), waiting.size(), kPause) <= 0) return ready;  // also at a signal
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].revents != 0) ready.push_back(i);
    }
    return ready;
  }

  void hear(std::size_t index) {
    const std::size_t task = workers_[index]->task();
    bool failed = false;
    std::string text;
    if (!workers_[index]->take(failed, text)) {
      text = workers_[index]->end();
      failed = true;
      workers_[index].reset();
      workers_[index] = started();
    }
    if (task == kNoTask) return;  // a worker that somebody ended while it had nothing to do
    if (failed) {
      tryAgain(task, text);
    } else {
      ++done_;
      tasks_.done(task, text);
    }
  }

  void tryAgain(std::size_t task, const std::string& reason) {
    const std::string name = tasks_.name ? tasks_.name(task) : format("task %zu", task);
    if (!tried_.insert(task).second) {
      if (!tasks_.failed) throw Error(name + " failed twice: " + reason);
      ++done_;
      tasks_.failed(task, reason);
      return;
    }
    failed_.push_back(task);
    if (tasks_.again) tasks_.again(name + " failed and is tried again: " + reason);
  }

  const Tasks& tasks_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::size_t next_ = 0;
  std::size_t done_ = 0;
  std::deque<std::size_t> failed_;  // to be tried again
  std::set<std::size_t> tried_;     // that have failed once
};

}  // namespace

void doTasks(const Tasks& tasks, int jobs) {
  const std::size_t workers = std::min(static_cast<std::size_t>(std::max(jobs, 1)), tasks.count);
  if (workers > 1 || tasks.apart) {
    Spreading(tasks, workers).doAll();
    return;
  }
  for (std::size_t task = 0; task < tasks.count; ++task) tasks.done(task, tasks.run(task));
}

int processors() { return static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U)); }

}  // namespace remora
