// The kinds of image files that frames are read from. The size that a header announces is checked
// against the size of the file first, so that a damaged file costs no memory.
#pragma once

#include <cstdint>
#include <cstdio>

#include "cimg/CImg.h"

namespace remora::internal {

struct ImageFile {
  const char* name;
  std::FILE* stream;  // at its start
  std::int64_t size;  // in bytes
};

CImgIOException unreadable(const char* name, const char* reason);

// The value of white where the file's depth does not say otherwise.
constexpr float kWhite = 255.0F;

// Values are delivered as they are stored, but that colours are looked up in palettes, and values
// of less than 8 bits in PNG and PBM files are brought to 0 ... 255. Each returns the value of
// white. They throw CImgException or std::bad_alloc where the file does not hold a whole image.
float readPng(const ImageFile& file, CImg<float>& image);     // 8 or 16 bits, any colour type
float readNetpbm(const ImageFile& file, CImg<float>& image);  // PBM, PGM, PPM, plain or not; PFM
float readBmp(const ImageFile& file, CImg<float>& image);     // uncompressed

}  // namespace remora::internal
