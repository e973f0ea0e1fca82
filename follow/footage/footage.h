// What footage a user has named: image files, a video, or raw frames on standard input.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "follow/export.h"
#include "follow/footage/frame_reader.h"
#include "follow/footage/sequences.h"

namespace remora {

// Frames of a video from a number on; without a count, all up to the end.
struct VideoPart {
  std::string file;
  int first = 0;
  std::optional<int> count;
};

// Frames without any header, rows from the top, pixels from the left, one byte a channel.
struct RawFrames {
  int width = 0;     // pixels
  int height = 0;    // pixels
  int channels = 1;  // 1 grey; 3 red, green, blue
};

class REMORA_FOLLOW_EXPORT Footage {
 public:
  Footage() = default;
  explicit Footage(std::vector<Frame> images) : source_(std::move(images)) {}
  explicit Footage(VideoPart video) : source_(std::move(video)) {}
  // Of standard input.
  explicit Footage(RawFrames raw) : source_(raw) {}
  // Of a sequence whose base is the name of a video, or that of numbered images. Throws Error, and
  // gives notice, as listSequence does.
  explicit Footage(const Sequence& sequence, const Notice& notice = nullptr);

  // Begins to read. Throws Error when that cannot be done.
  std::unique_ptr<FrameReader> open() const;

  // The files that are read.
  std::vector<std::string> files() const;
  // The images, where it is made of such.
  const std::vector<Frame>* images() const { return std::get_if<std::vector<Frame>>(&source_); }
  // The video, where it is one.
  const VideoPart* video() const { return std::get_if<VideoPart>(&source_); }
  // The number of the first frame.
  int first() const;

 private:
  std::variant<std::vector<Frame>, VideoPart, RawFrames> source_;
};

// Reads frames of a video by their numbers, once and in order, and hands each to `take`. Throws
// Error when one is not there.
REMORA_FOLLOW_EXPORT void readVideoFrames(const std::string& file, const std::set<int>& numbers,
                                          const std::function<void(const FootageFrame&)>& take);

}  // namespace remora
