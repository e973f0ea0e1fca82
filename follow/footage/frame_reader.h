// Frames in order, wherever they come from.
#pragma once

#include <limits>
#include <optional>
#include <string>

#include "follow/export.h"
#include "follow/footage/picture.h"

namespace remora {

struct FootageFrame {
  int number = 0;    // as in its file's name, or counted from 0
  std::string name;  // for messages: its file, or what it is a frame of, and its number
  // Seconds from the beginning of a video; not a number where no time is known.
  double time = std::numeric_limits<double>::quiet_NaN();
  Picture picture;
};

// The size that all frames of footage share.
class REMORA_FOLLOW_EXPORT FrameSize {
 public:
  // Throws Error for a frame that has another size than the first one.
  void require(const FootageFrame& frame);
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  std::string first_;
  int width_ = 0;
  int height_ = 0;
};

// Hands out one frame after the other, and keeps none: memory does not grow with their number. All
// frames have the size of the first.
class REMORA_FOLLOW_EXPORT FrameReader {
 public:
  FrameReader() = default;
  virtual ~FrameReader() = default;
  FrameReader(const FrameReader&) = delete;
  FrameReader& operator=(const FrameReader&) = delete;

  // Takes the next frame, into memory that `frame` may have from the last one; false when there are
  // no more. Throws Error, naming the frame, when it cannot be read.
  virtual bool next(FootageFrame& frame) = 0;

  // How many frames there will be in all, where something says so; it need not be right.
  virtual std::optional<long> expected() const { return std::nullopt; }

  // Whether frames come with their times.
  virtual bool tellsTimes() const { return false; }
};

}  // namespace remora
