// Image files.
#pragma once

#include <string>
#include <vector>

#include "follow/export.h"
#include "follow/footage/image.h"

namespace remora {

// A picture of 8 bits a channel that owns its pixels: row by row, the channels of a pixel beside
// each other.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 1;  // 1 grey, 3 red, green, blue
  std::vector<unsigned char> pixels;
  // The value that became 255: 255 of files of 8 bits a channel, 65535 of those of 16.
  float white = 255.0F;

  Image view() const { return {pixels.data(), width, height, 0, channels, Image::Depth::kByte}; }
};

// Whether an image is read from a file of this name, by its extension.
REMORA_FOLLOW_EXPORT bool isImageFile(const std::string& name);

// Reads a PNG, JPEG, TIFF, PNM, PFM or BMP file, recognised by its extension. Values are brought
// from what the file's depth can hold to 0 ... 255 and rounded; transparency is left out. JPEG and
// TIFF pictures are turned as their orientation says. Throws Error, naming the file, when it cannot
// be read.
REMORA_FOLLOW_EXPORT Picture loadPicture(const std::string& file);

}  // namespace remora
