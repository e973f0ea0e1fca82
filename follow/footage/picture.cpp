#include "follow/footage/picture.h"

#include <algorithm>
#include <cstddef>

#include "follow/error.h"
#include "internal/frame.h"

namespace remora {
namespace {

unsigned char toByte(float value, double factor) {
  const double level = factor * static_cast<double>(value);
  return level > 0.0 ? static_cast<unsigned char>(std::min(level, 255.0) + 0.5) : 0;
}

}  // namespace

Picture loadPicture(const std::string& file) {
  CImg<float> loaded;
  double factor = 1.0;
  try {
    const float white = internal::loadFrame(file.c_str(), loaded);
    if (!(white > 0.0F)) throw Error("image file '" + file + "' has no values above 0");
    factor = 255.0 / static_cast<double>(white);
  } catch (const CImgException& error) {
    throw Error(error.what());
  }
  Picture picture{loaded.width(), loaded.height(), loaded.spectrum() < 3 ? 1 : 3, {}};
  const std::size_t pixels =
      static_cast<std::size_t>(loaded.width()) * static_cast<std::size_t>(loaded.height());
  const auto channels = static_cast<std::size_t>(picture.channels);
  picture.pixels.resize(pixels * channels);
  for (std::size_t c = 0; c < channels; ++c) {
    const float* const plane = loaded.data(0, 0, 0, static_cast<unsigned>(c));
    for (std::size_t i = 0; i < pixels; ++i) {
      picture.pixels[i * channels + c] = toByte(plane[i], factor);
    }
  }
  return picture;
}

}  // namespace remora
