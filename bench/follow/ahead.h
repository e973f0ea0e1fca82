// Work that is done ahead, beside what uses it.
#pragma once

#include <functional>
#include <future>
#include <queue>
#include <utility>
#include <vector>

namespace remora::bench {

// Results of jobs, in their order; some of those to come are worked on meanwhile.
template <class Result>
class Ahead {
 public:
  using Job = std::function<Result()>;

  explicit Ahead(std::vector<Job> jobs) : jobs_(std::move(jobs)) { fill(); }

  // requires: there was not yet a call for every job
  Result next() {
    Result result = running_.front().get();
    running_.pop();
    fill();
    return result;
  }

 private:
  void fill() {
    constexpr std::size_t kAtOnce = 2;
    while (running_.size() < kAtOnce && started_ < jobs_.size()) {
      running_.push(std::async(std::launch::async, jobs_[started_++]));
    }
  }

  std::vector<Job> jobs_;
  std::size_t started_ = 0;
  std::queue<std::future<Result>> running_;
};

}  // namespace remora::bench
