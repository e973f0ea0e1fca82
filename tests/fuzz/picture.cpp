// A JPEG or TIFF file, as the first byte says.
#include "follow/error.h"
#include "follow/footage/formats/formats.h"
#include "fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const auto read = data[0] % 2 == 0 ? remora::readJpeg : remora::readTiff;
  try {
    const remora::Picture picture = read({data + 1, data + size}, "image");
    fuzz::require(picture.width > 0 && picture.height > 0, "what is read is an image");
    fuzz::require(picture.pixels.size() == static_cast<std::size_t>(picture.width) *
                                               static_cast<std::size_t>(picture.height) *
                                               static_cast<std::size_t>(picture.channels),
                  "it has all its pixels");
  } catch (const remora::Error& error) {
    fuzz::require(std::string_view(error.what()).find('\n') == std::string_view::npos,
                  "a message is one line");
  }
  return 0;
}
