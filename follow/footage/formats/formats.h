// The kinds of image files that only this library reads, from their bytes in memory. What a header
// announces is checked against the number of bytes before memory is asked for. Both readers throw
// Error, naming the file, for bytes that are damaged or cut short.
#pragma once

#include <string>

#include "follow/footage/picture.h"

namespace remora {

// Grey or colour, baseline or progressive, turned as its Exif orientation says.
Picture readJpeg(const std::string& bytes, const std::string& name);

// The first picture of the file, with 1 to 16 bits a channel, turned as its orientation says.
Picture readTiff(const std::string& bytes, const std::string& name);

// Throws Error where so many bytes cannot hold a picture of this size.
void requireBacked(const std::string& bytes, double width, double height, int channels,
                   const std::string& name);

// Brings a picture that is stored with orientation 2 ... 8 (TIFF 6.0, Exif) into that of its
// viewer.
Picture upright(Picture stored, int orientation);

[[noreturn]] void failToDecode(const std::string& name, const std::string& why);

}  // namespace remora
