#include "follow/footage/picture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "follow/base/files.h"
#include "follow/error.h"
#include "follow/footage/formats/formats.h"
#include "internal/frame.h"

namespace remora {
namespace {

unsigned char toByte(float value, double factor) {
  const double level = factor * static_cast<double>(value);
  return level > 0.0 ? static_cast<unsigned char>(std::min(level, 255.0) + 0.5) : 0;
}

constexpr std::array<std::string_view, 2> kJpeg = {".jpg", ".jpeg"};
constexpr std::array<std::string_view, 2> kTiff = {".tif", ".tiff"};
constexpr std::array<std::string_view, 7> kEngines = {".png", ".bmp", ".pnm", ".ppm",
                                                      ".pgm", ".pbm", ".pfm"};

std::string extensionOf(const std::string& file) {
  std::string extension = std::filesystem::path(file).extension();
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return extension;
}

template <std::size_t kCount>
bool isOneOf(const std::array<std::string_view, kCount>& known, const std::string& extension) {
  return std::find(known.begin(), known.end(), extension) != known.end();
}

// By the engine's readers.
Picture loadAsEngine(const std::string& file) {
  CImg<float> loaded;
  float white = 0.0F;
  try {
    white = internal::loadFrame(file.c_str(), loaded);
  } catch (const CImgException& error) {
    throw Error(error.what());
  }
  if (!(white > 0.0F)) throw Error("image file '" + file + "' has no values above 0");
  const double factor = 255.0 / static_cast<double>(white);
  Picture picture{loaded.width(), loaded.height(), loaded.spectrum() < 3 ? 1 : 3, {}, white};
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

}  // namespace

bool isImageFile(const std::string& name) {
  const std::string extension = extensionOf(name);
  return isOneOf(kJpeg, extension) || isOneOf(kTiff, extension) || isOneOf(kEngines, extension);
}

Picture loadPicture(const std::string& file) {
  const std::string extension = extensionOf(file);
  if (isOneOf(kEngines, extension)) return loadAsEngine(file);
  if (isOneOf(kJpeg, extension)) return readJpeg(readFile(file), file);
  if (isOneOf(kTiff, extension)) return readTiff(readFile(file), file);
  failToDecode(file,
               "images are .png, .jpg, .jpeg, .tif, .tiff, .bmp, .pnm, .ppm, .pgm, .pbm and "
               ".pfm files");
}

}  // namespace remora
