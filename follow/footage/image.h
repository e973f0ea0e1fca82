// Pictures in memory.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/export.h"

namespace remora {

// A view of a picture that somebody else owns; it must stay while a call uses it. Rows go from the
// top, pixels from the left. Colour becomes grey with the weights of ITU-R BT.601: 0.299 red,
// 0.587 green, 0.114 blue.
struct Image {
  enum class Depth {
    kByte,   // 0 ... 255
    kFloat,  // 32 bits, 0 ... 1; single values outside are limited
  };

  const void* data = nullptr;
  int width = 0;                 // pixels
  int height = 0;                // pixels
  std::ptrdiff_t row_bytes = 0;  // from a row to the next; may be negative; 0: rows touch
  int channels = 1;              // 1 grey; 3 red, green, blue; 4 the same and one to ignore
  Depth depth = Depth::kByte;
};

// A picture of 8-bit grey levels that owns its pixels, row by row.
struct GreyImage {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> pixels;

  Image view() const { return {pixels.data(), width, height, width, 1, Image::Depth::kByte}; }
};

// Throws Error for a picture that cannot be: without data or pixels, of another number of channels,
// with rows that overlap.
REMORA_FOLLOW_EXPORT void requireSense(const Image& image);

// A picture as 8-bit grey, rounded. Throws as requireSense does, and for a float picture whose
// values are above 1 in the mean: they go to 255, say, and would all become white.
REMORA_FOLLOW_EXPORT GreyImage toGrey(const Image& image);

}  // namespace remora
