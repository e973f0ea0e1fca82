#include "follow/training/example.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>

#include "follow/footage/footage.h"
#include "follow/footage/picture.h"

namespace remora {

std::vector<Example> loadExamples(const Recording& recording,
                                  const std::vector<AnnotatedFrame>& frames) {
  std::vector<Example> examples;
  std::map<std::string, std::map<int, std::size_t>> videos;  // which example a frame of a video is
  for (const AnnotatedFrame& frame : frames) {
    const Shape shape = shownPoints(frame);
    const bool is_covered =
        !frame.hidden.empty() && std::none_of(shape.begin(), shape.end(), isSeen);
    if (is_covered) continue;  // nothing to learn from
    const std::string file = fileOf(recording, frame);
    examples.emplace_back();
    examples.back().name = file;
    examples.back().shape = shape;
    if (isVideo(file)) {
      videos[file][frame.number] = examples.size() - 1;
    } else {
      examples.back().image = toGrey(loadPicture(file).view());
    }
  }
  for (const auto& [file, wanted] : videos) {
    std::set<int> numbers;
    for (const auto& [number, index] : wanted) numbers.insert(number);
    readVideoFrames(file, numbers, [&examples, &wanted = wanted](const FootageFrame& frame) {
      Example& example = examples[wanted.at(frame.number)];
      example.name = "frame " + frame.name;
      example.image = toGrey(frame.picture.view());
    });
  }
  return examples;
}

}  // namespace remora
