// Sequences of frames: which files they are.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "follow/export.h"

namespace remora {

// Frames BASE.nnnnn.png from a number on; without a count, all up to the first missing file. Or,
// where the base is the name of a video, its frames, counted from 0.
struct Sequence {
  std::string base;
  int start = 0;
  std::optional<int> count;
};

// A sequence with positions that are known: shape k of a shape sequence file belongs to frame
// start + k; a table has frame numbers of its own.
struct AnnotatedSequence {
  std::string base;
  int start = 0;
  std::string shape_file;
};

// One frame of a sequence, or one image file of a list.
struct Frame {
  int number;  // as in its name, or its place in the list
  std::string file;
};

// Whether a name is that of a video: there is a file of this name, and it is no image.
REMORA_FOLLOW_EXPORT bool isVideo(const std::string& name);

// The file of frame `number` of a sequence.
REMORA_FOLLOW_EXPORT std::string frameFile(const std::string& base, int number);

// The same. Fails when the file is missing, and names a file that is there in its place.
REMORA_FOLLOW_EXPORT std::string existingFrameFile(const std::string& base, int number);

// Told, in a line, what the user should know of.
using Notice = std::function<void(const std::string&)>;

// The images of a sequence. Fails when there are none, or fewer than the count says. Notice is
// given of frames behind a gap that ends a sequence without a count.
REMORA_FOLLOW_EXPORT std::vector<Frame> listSequence(const Sequence& sequence,
                                                     const Notice& notice = nullptr);

}  // namespace remora
