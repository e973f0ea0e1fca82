// What drawn frames become: a video, or pictures in a folder. It appears whole or not at all.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "follow/export.h"
#include "follow/footage/picture.h"

namespace remora {

class REMORA_FOLLOW_EXPORT Rendering {
 public:
  Rendering() = default;
  virtual ~Rendering() = default;
  Rendering(const Rendering&) = delete;
  Rendering& operator=(const Rendering&) = delete;

  // Takes a frame of red, green and blue: its number, and the time at which it is shown, in seconds
  // from the first one. Frames come in order and have one size. Throws Error when it cannot be
  // written.
  virtual void add(const Picture& picture, int number, double time) = 0;
  // Completes what there is, which gets its name now. Throws Error where there is no frame.
  virtual void finish() = 0;
};

enum class RenderingKind { kVideo, kAnimation, kPictures };

// Told from the name: .mp4, .mov and .mkv are videos of H.264, .gif is an animation, and names
// without extension, with a slash at the end, or of folders that are there are folders. Throws
// Error for others.
REMORA_FOLLOW_EXPORT RenderingKind renderingKindOf(const std::string& name);

// The files of an earlier rendering in a folder, which a new one replaces. Throws Error for a file
// that is none of those: nothing else is overwritten.
REMORA_FOLLOW_EXPORT std::vector<std::string> earlierPictures(const std::string& folder);

// Whether the program ffmpeg is there, which videos and animations need.
REMORA_FOLLOW_EXPORT bool canMakeVideos();

// Begins a rendering. Videos and animations are made by the program ffmpeg; where a video has one
// frame, that is shown for 1 / rate seconds. A folder gets NNNNN.png, by numbers of frames.
REMORA_FOLLOW_EXPORT std::unique_ptr<Rendering> beginRendering(const std::string& name,
                                                               double rate);

}  // namespace remora
