#include "common/frames.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "ImgFnames.h"
#include "common/failure.h"
#include "common/text.h"
#include "internal/frame.h"

namespace remora::tools {

std::string frameFile(const std::string& base, int number) {
  const std::unique_ptr<char[]> name(ImgFnames(base.c_str(), number).GetFrameName());
  return name.get();
}

namespace {

constexpr long kLastNumber = std::numeric_limits<int>::max();

struct SequenceText {
  std::string base;  // may hold colons
  int start;
  std::optional<int> count;
};

SequenceText parseSequence(const std::string& text) {
  std::vector<std::string> parts = split(text, ':');
  const auto takeNumber = [&parts] {
    std::optional<int> number;
    if (parts.size() > 1) number = toNumber<int>(parts.back());
    if (number) parts.pop_back();
    return number;
  };
  std::optional<int> count;
  std::optional<int> start = takeNumber();
  if (const auto earlier = takeNumber()) count = std::exchange(start, earlier);
  if (!start || (count && *count < 1)) {
    throw Misuse("sequence " + text + " is not BASE:START[:COUNT]");
  }
  std::string base = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) base += ':' + parts[i];
  return {base, *start, count};
}

// A sequence ends at the first number without a file; more behind it were probably meant, too.
void warnOfGap(const std::string& base, long missing) {
  constexpr long kFarthest = 10;
  for (long number = missing + 1; number <= std::min(missing + kFarthest, kLastNumber); ++number) {
    const std::string next = frameFile(base, static_cast<int>(number));
    if (!std::filesystem::exists(next)) continue;
    std::fprintf(stderr, "remora: warning: the sequence ends before %s, but there is %s\n",
                 frameFile(base, static_cast<int>(missing)).c_str(), next.c_str());
    return;
  }
}

}  // namespace

std::vector<Frame> listSequence(const std::string& text) {
  const SequenceText sequence = parseSequence(text);
  const int count = sequence.count.value_or(std::numeric_limits<int>::max());
  const long last = std::min(kLastNumber, sequence.start - 1L + count);
  std::vector<Frame> frames;
  for (long number = sequence.start; number <= last; ++number) {
    Frame frame{static_cast<int>(number), frameFile(sequence.base, static_cast<int>(number))};
    if (std::filesystem::exists(frame.file)) {
      frames.push_back(std::move(frame));
    } else if (sequence.count || frames.empty()) {
      throw Failure("sequence " + text + ": no file " + frame.file);
    } else {
      warnOfGap(sequence.base, number);
      break;
    }
  }
  return frames;
}

CImg<float> loadFrame(const std::string& file) {
  CImg<float> image;
  try {
    internal::loadFrame(file.c_str(), image);
  } catch (const CImgException& error) {
    throw Failure(error.what());
  }
  return image;
}

void prepareFrame(CImg<float>& image, float scale) {
  constexpr double kMostPixels = 1 << 26;
  const double pixels = 1.0 * image.width() * image.height() * std::pow(scale, 2.0);
  if (!(pixels <= kMostPixels)) {
    throw Failure(format("frames of %d x %d are too large to be worked on at scale %g",
                         image.width(), image.height(), static_cast<double>(scale)));
  }
  internal::blur(image);
  internal::resizeBy(image, internal::sizeArgument(scale));
}

}  // namespace remora::tools
