// Which frames, by their numbers.
#pragma once

#include <algorithm>
#include <vector>

namespace remora {

// first, first + step ... up to last; a step below 1 is 1.
struct FrameRange {
  int first;
  int last;
  int step = 1;
};

// Empty for all frames.
using FrameChoice = std::vector<FrameRange>;

inline bool isChosen(const FrameChoice& choice, int frame) {
  const auto holds = [frame](const FrameRange& range) {
    return frame >= range.first && frame <= range.last &&
           (static_cast<long>(frame) - range.first) % std::max(range.step, 1) == 0;
  };
  return choice.empty() || std::any_of(choice.begin(), choice.end(), holds);
}

}  // namespace remora
