// Video files, read through the programs ffmpeg and ffprobe.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "follow/base/child.h"
#include "follow/footage/footage.h"

namespace remora {

// What the header of a video says. That need not be right.
struct VideoHeader {
  std::optional<long> frames;
  std::optional<double> rate;  // frames a second, in the mean
};

// Throws Error when the file is no video, shows nothing, or there is no ffprobe.
VideoHeader readVideoHeader(const std::string& file);

// Decodes a part of a video, frame after frame as they are shown: upright, with the times at which
// they are shown, at the same bits on every processor. A video whose size changes is shown in its
// first size. Colours become red, green and blue by the video's own matrix and range.
class VideoReader : public FrameReader {
 public:
  explicit VideoReader(VideoPart part);

  // Throws Error when the video ends before the part does, in the middle of a frame, or damaged and
  // earlier than its header says.
  bool next(FootageFrame& frame) override;
  std::optional<long> expected() const override;
  bool tellsTimes() const override { return true; }

 private:
  bool decode(FootageFrame& frame);
  bool readPictureHeader();
  double nextTime();
  bool end();

  VideoPart part_;
  VideoHeader header_;
  std::string picture_header_;  // of every picture in the pipe
  int width_ = 0;
  int height_ = 0;
  int decoded_ = 0;
  bool ended_ = false;
  Child decoder_;
};

}  // namespace remora
