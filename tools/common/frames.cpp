#include "common/frames.h"

#include <filesystem>
#include <memory>

#include "ImgFnames.h"
#include "common/failure.h"
#include "common/text.h"
#include "internal/frame.h"

namespace remora::tools {

std::string frameFile(const std::string& base, int number) {
  const std::unique_ptr<char[]> name(ImgFnames(base.c_str(), number).GetFrameName());
  return name.get();
}

std::vector<Frame> listSequence(const std::string& text) {
  std::vector<std::string> parts = split(text, ':');
  const auto bad = [&text] { return Failure("sequence " + text + " is not BASE:START[:COUNT]"); };
  if (parts.size() < 2) throw bad();
  std::optional<int> count;
  auto start = toNumber<int>(parts.back());
  if (parts.size() > 2 && toNumber<int>(parts[parts.size() - 2])) {
    count = start;
    parts.pop_back();
    start = toNumber<int>(parts.back());
  }
  if (!start || (count && *count < 1)) throw bad();
  parts.pop_back();
  std::string base = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) base += ':' + parts[i];

  std::vector<Frame> frames;
  for (int k = 0; !count || k < *count; ++k) {
    Frame frame{*start + k, frameFile(base, *start + k)};
    if (!count && !std::filesystem::exists(frame.file)) break;
    frames.push_back(std::move(frame));
  }
  if (frames.empty()) throw Failure("sequence " + text + ": no file " + frameFile(base, *start));
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
  internal::blur(image);
  internal::resizeBy(image, internal::sizeArgument(scale));
}

}  // namespace remora::tools
