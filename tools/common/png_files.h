// PNG files, and those among them that show tracks.
#pragma once

#include <string>

#include "cimg/CImg.h"

namespace remora::tools {

void savePng(const CImg<unsigned char>& picture, const std::string& file);

// The same, with a text in the file by which it is known again.
void saveOverlayPng(const CImg<unsigned char>& picture, const std::string& file);
bool isOverlayPng(const std::string& file);

}  // namespace remora::tools
