// Loading frames and making them grey.
#pragma once

#include <string>

#include "cimg/CImg.h"

namespace remora::tools {

// A picture with its values brought from what the file's depth can hold to 0 ... 255. Fails, naming
// the file, when it cannot be read.
CImg<float> loadFrame(const std::string& file);

// The one channel of a picture that is trained on and tracked: the luma of colours.
CImg<float> toGrey(const CImg<float>& picture);

}  // namespace remora::tools
