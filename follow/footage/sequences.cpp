#include "follow/footage/sequences.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>

#include "ImgFnames.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/footage/picture.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

constexpr long kLastNumber = std::numeric_limits<int>::max();

bool isFrameOf(const std::string& base, const fs::path& name) {
  const std::string dot_number = name.stem().extension();
  const auto number =
      toNumber<int>(std::string_view(dot_number).substr(dot_number.empty() ? 0 : 1));
  return number && fs::path(frameFile(base, *number)).filename() == name;
}

// STEM, at most one other character, a digit: what a user may take for a frame.
bool resemblesFrame(const std::string& name, const std::string& stem) {
  if (name.rfind(stem, 0) != 0) return false;
  const std::string rest = name.substr(stem.size(), 2);
  return std::any_of(rest.begin(), rest.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// What there is in place of a missing frame, as the end of a message.
std::string whatIsThere(const std::string& base) {
  const fs::path folder = fs::path(base).parent_path();
  if (!folder.empty() && !fs::is_directory(folder))
    return ": there is no folder " + folder.string();
  std::string first_frame;
  std::string other;
  std::error_code unreadable;
  for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, unreadable)) {
    const fs::path name = entry.path().filename();
    if (!resemblesFrame(name, fs::path(base).filename())) continue;
    std::string& least = isFrameOf(base, name) ? first_frame : other;
    if (least.empty() || name < least) least = name;
  }
  if (!first_frame.empty()) return ": the first one is " + (folder / first_frame).string();
  if (other.empty()) return "";
  return ": there is " + (folder / other).string() + ", but frames are named BASE.nnnnn.png";
}

// A sequence ends at the first number without a file; more behind it were probably meant, too.
std::string noticeOfGap(const std::string& base, long missing) {
  constexpr long kFarthest = 10;
  for (long number = missing + 1; number <= std::min(missing + kFarthest, kLastNumber); ++number) {
    const std::string next = frameFile(base, static_cast<int>(number));
    if (!fs::exists(next)) continue;
    return "the sequence ends before " + frameFile(base, static_cast<int>(missing)) +
           ", but there is " + next;
  }
  return "";
}

}  // namespace

bool isVideo(const std::string& name) { return fs::is_regular_file(name) && !isImageFile(name); }

std::string frameFile(const std::string& base, int number) {
  const std::unique_ptr<char[]> name(ImgFnames(base.c_str(), number).GetFrameName());
  return name.get();
}

std::string existingFrameFile(const std::string& base, int number) {
  std::string file = frameFile(base, number);
  if (!fs::exists(file)) throw Error("there is no frame " + file + whatIsThere(base));
  return file;
}

std::vector<Frame> listSequence(const Sequence& sequence, const Notice& notice) {
  const int count = sequence.count.value_or(std::numeric_limits<int>::max());
  const long end = std::min(kLastNumber, sequence.start - 1L + count) + 1;
  std::vector<Frame> frames{{sequence.start, existingFrameFile(sequence.base, sequence.start)}};
  for (long next = sequence.start + 1L; next < end; ++next) {
    const int number = static_cast<int>(next);
    if (!sequence.count && !fs::exists(frameFile(sequence.base, number))) {
      const std::string gap = noticeOfGap(sequence.base, next);
      if (notice && !gap.empty()) notice(gap);
      break;
    }
    frames.push_back({number, existingFrameFile(sequence.base, number)});
  }
  return frames;
}

}  // namespace remora
