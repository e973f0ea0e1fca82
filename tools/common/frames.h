// Frames: which files they are, and how they are loaded.
#pragma once

#include <string>
#include <vector>

#include "cimg/CImg.h"

namespace remora::tools {

// One frame of a sequence, or one image file of a list.
struct Frame {
  int number;  // as in its name, or its place in the list
  std::string file;
};

// The file of frame `number` of a sequence.
std::string frameFile(const std::string& base, int number);

// The frames that BASE:START[:COUNT] names; without a count, all up to the first missing file.
// Fails when there are none.
std::vector<Frame> listSequence(const std::string& text);

// A picture with its values brought from what the file's depth can hold to 0 ... 255. Fails, naming
// the file, when it cannot be read.
CImg<float> loadFrame(const std::string& file);

// The one channel of a picture that is trained on and tracked: the luma of colours.
CImg<float> toGrey(const CImg<float>& picture);

}  // namespace remora::tools
