#include "follow/training/example.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "follow/base/scratch_file.h"
#include "follow/error.h"
#include "follow/footage/footage.h"
#include "follow/footage/picture.h"
#include "follow/footage/sequences.h"

namespace remora {
namespace {

// An example, and the frame that its picture is of.
using PictureOf = std::pair<std::size_t, const AnnotatedFrame*>;

// A picture that nothing is learned from: without pixels where there is none, or a damaged one.
GreyImage loadNeighbour(const std::string& base, int number) {
  try {
    const std::string file = frameFile(base, number);
    if (std::filesystem::exists(file)) return toGrey(loadPicture(file).view());
  } catch (const Error&) {
  }
  return {};
}

// Some examples get their neighbours, which tell positions of the wrong frames.
void addNeighbours(const Recording& recording, const std::vector<PictureOf>& pictures,
                   std::vector<Example>& examples) {
  constexpr std::size_t kMost = 20;
  const std::size_t every = (pictures.size() + kMost - 1) / kMost;
  for (std::size_t i = 0; i < pictures.size(); i += every) {
    const auto& [index, frame] = pictures[i];
    const std::string& base = recording.base.empty() ? frame->file : recording.base;
    if (frame->number > 0) examples[index].before = loadNeighbour(base, frame->number - 1);
    if (frame->number < std::numeric_limits<int>::max()) {
      examples[index].after = loadNeighbour(base, frame->number + 1);
    }
  }
}

}  // namespace

void ExampleStore::keep(Example& example) {
  GreyImage& image = example.image;
  const std::uint64_t size = image.pixels.size();
  if (size <= left_) {
    left_ -= size;
    return;
  }
  left_ = 0;
  if (!file_) file_ = std::make_shared<ScratchFile>();
  const std::uint64_t place = file_->size();
  file_->append(image.pixels.data(), image.pixels.size());
  std::vector<unsigned char>().swap(image.pixels);  // which gives the memory back
  example.load = [file = file_, place, width = image.width, height = image.height] {
    GreyImage loaded{width, height, {}};
    loaded.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    file->read(place, loaded.pixels.data(), loaded.pixels.size());
    return loaded;
  };
}

std::vector<Example> loadExamples(const Recording& recording,
                                  const std::vector<AnnotatedFrame>& frames, ExampleStore* store) {
  std::vector<Example> examples;
  std::map<std::string, std::map<int, std::size_t>> videos;  // which example a frame of a video is
  std::vector<PictureOf> pictures;
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
      const Picture picture = loadPicture(file);
      examples.back().image = toGrey(picture.view());
      examples.back().white = picture.white;
      if (store != nullptr) store->keep(examples.back());
      pictures.emplace_back(examples.size() - 1, &frame);
    }
  }
  addNeighbours(recording, pictures, examples);
  for (const auto& [file, wanted] : videos) {
    std::set<int> numbers;
    for (const auto& [number, index] : wanted) numbers.insert(number);
    readVideoFrames(file, numbers, [&examples, &wanted = wanted, store](const FootageFrame& frame) {
      Example& example = examples[wanted.at(frame.number)];
      example.name = "frame " + frame.name;
      example.image = toGrey(frame.picture.view());
      if (store != nullptr) store->keep(example);
    });
  }
  return examples;
}

}  // namespace remora
