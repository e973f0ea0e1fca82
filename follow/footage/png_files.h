// PNG files, and those among them that this program has drawn.
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

// The same, with the name of its maker in the file, by which it is known again. It is not synced to
// disk: it can be made again.
void savePngOf(const char* maker, const Image& picture, const std::string& file);
bool isPngOf(const char* maker, const std::string& file);
constexpr char kOverlayMaker[] = "remora track --overlay";
constexpr char kRenderMaker[] = "remora render";

}  // namespace remora
