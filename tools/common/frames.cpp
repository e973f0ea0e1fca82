#include "common/frames.h"

#include <algorithm>
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

constexpr float kWhite = 255.0F;

void stretch(CImg<float>& picture, float white) {
  for (float& value : picture) {
    value = static_cast<float>(static_cast<double>(value) * kWhite / static_cast<double>(white));
  }
}

// With weights in whole thousandths the sum of whole numbers is exact, and grey stays grey.
float luma(float red, float green, float blue) {
  return static_cast<float>((299.0 * red + 587.0 * green + 114.0 * blue) / 1000.0);
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
  CImg<float> picture;
  try {
    const float white = internal::loadFrame(file.c_str(), picture);
    if (!(white > 0.0F)) throw Failure("image file '" + file + "' has no values above 0");
    if (white != kWhite) stretch(picture, white);
  } catch (const CImgException& error) {
    throw Failure(error.what());
  }
  return picture;
}

CImg<float> toGrey(const CImg<float>& picture) {
  constexpr int kColours = 3;
  if (picture.spectrum() < kColours) return picture.get_channel(0);
  CImg<float> grey(picture.width(), picture.height());
  cimg_forXY(grey, x, y) {
    grey(x, y) = luma(picture(x, y, 0, 0), picture(x, y, 0, 1), picture(x, y, 0, 2));
  }
  return grey;
}

}  // namespace remora::tools
