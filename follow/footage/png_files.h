// PNG files, and those among them that show tracks.
#pragma once

#include <string>

#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

// Writes an 8-bit picture. Throws Error, with the reason, when it cannot be written.
REMORA_FOLLOW_EXPORT void savePng(const Image& picture, const std::string& file);

// The same, with a text in the file by which it is known again.
void saveOverlayPng(const Image& picture, const std::string& file);
bool isOverlayPng(const std::string& file);

}  // namespace remora
