// PNG files, and those among them that show tracks.
#pragma once

#include <string>

#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

// An 8-bit picture as the bytes of a file; `small` takes more time. Throws Error where that cannot
// be.
REMORA_FOLLOW_EXPORT std::string encodePng(const Image& picture, bool small = false);

// Writes an 8-bit picture. Throws Error, with the reason, when it cannot be written.
REMORA_FOLLOW_EXPORT void savePng(const Image& picture, const std::string& file);

// The same, with a text in the file by which it is known again.
void saveOverlayPng(const Image& picture, const std::string& file);
bool isOverlayPng(const std::string& file);

}  // namespace remora
