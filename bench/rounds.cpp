#include "rounds.h"

#include <time.h>

#include <algorithm>

namespace remora::bench {
namespace {

double secondsNow(Time time) {
  timespec now{};
  clock_gettime(time == Time::kPassing ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double secondsOf(const Candidate& candidate, Time time) {
  const double start = secondsNow(time);
  candidate.run();
  return secondsNow(time) - start;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

double workedSeconds() { return secondsNow(Time::kWorked); }

std::vector<Result> inRounds(const std::vector<Candidate>& candidates, int rounds, Time time) {
  std::vector<std::vector<double>> seconds(candidates.size());
  std::vector<std::vector<double>> ratios(candidates.size());
  for (int round = -2; round < rounds; ++round) {
    std::vector<double> times;
    for (const Candidate& candidate : candidates) times.push_back(secondsOf(candidate, time));
    for (std::size_t i = 0; round >= 0 && i < candidates.size(); ++i) {
      seconds[i].push_back(times[i]);
      ratios[i].push_back(times[0] / times[i]);
    }
  }
  std::vector<Result> results;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    results.push_back({candidates[i].name, median(seconds[i]), median(ratios[i])});
  }
  return results;
}

}  // namespace remora::bench
