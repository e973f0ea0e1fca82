// Interleaved rounds: every candidate runs once in each round, so that whatever else the machine
// does meets all of them alike. Times are compared within a round, and the median of the ratios is
// what counts.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace remora::bench {

struct Candidate {
  std::string name;
  std::function<void()> run;
};

struct Result {
  std::string name;
  double seconds;  // median
  double ratio;    // median over the rounds of the first candidate's time by this one's
};

// What passes, or what this thread gets of a processor: the same but where others work, too.
enum class Time { kPassing, kWorked };

// Seconds of a processor that this thread has had.
double workedSeconds();

// Runs every candidate twice untimed, then `rounds` rounds.
std::vector<Result> inRounds(const std::vector<Candidate>& candidates, int rounds,
                             Time time = Time::kPassing);

}  // namespace remora::bench
