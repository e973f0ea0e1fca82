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

// A file as it is. Fails, naming it, when it cannot be read.
CImg<float> loadFrame(const std::string& file);

// Smooths a frame and brings it to its working size, for training and for tracking alike.
void prepareFrame(CImg<float>& image, float scale);

}  // namespace remora::tools
