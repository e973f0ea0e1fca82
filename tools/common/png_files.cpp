#include "common/png_files.h"

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>

#include "follow/base/files.h"

namespace remora::tools {
namespace {

std::string pngOf(const CImg<unsigned char>& picture) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* const memory = open_memstream(&bytes, &size);
  if (memory == nullptr) throw std::bad_alloc();
  picture.save_png(memory);
  std::fclose(memory);
  const std::unique_ptr<char, decltype(&std::free)> owned(bytes, std::free);
  return {bytes, size};
}

std::string bigEndian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 255U);
  return bytes;
}

// A piece of a PNG file: size, kind and content, check sum of the latter two.
std::string chunk(const std::string& kind, const std::string& content) {
  const std::string summed = kind + content;
  const uLong sum =
      crc32(0, reinterpret_cast<const Bytef*>(summed.data()), static_cast<uInt>(summed.size()));
  return bigEndian(static_cast<std::uint32_t>(content.size())) + summed +
         bigEndian(static_cast<std::uint32_t>(sum));
}

// The last piece of every PNG file, and how files of overlays end.
std::string fileEnd() { return chunk("IEND", ""); }
std::string overlayEnd() {
  const char text[] = "Software\0remora track --overlay";
  return chunk("tEXt", {text, sizeof text - 1}) + fileEnd();
}

}  // namespace

// Unlike the image library, writeFile says why it fails.
void savePng(const CImg<unsigned char>& picture, const std::string& file) {
  writeFile(file, pngOf(picture));
}

void saveOverlayPng(const CImg<unsigned char>& picture, const std::string& file) {
  std::string bytes = pngOf(picture);
  bytes.resize(bytes.size() - fileEnd().size());
  writeFile(file, bytes + overlayEnd());
}

bool isOverlayPng(const std::string& file) {
  const std::string wanted = overlayEnd();
  std::string end(wanted.size(), '\0');
  std::ifstream in(file, std::ios::binary);
  in.seekg(-static_cast<std::streamoff>(wanted.size()), std::ios::end);
  in.read(end.data(), static_cast<std::streamsize>(end.size()));
  return in && end == wanted;
}

}  // namespace remora::tools
