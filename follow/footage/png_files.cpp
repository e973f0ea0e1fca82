#include "follow/footage/png_files.h"

#include <png.h>
#include <zlib.h>

#include <cstdint>
#include <fstream>

#include "follow/base/files.h"
#include "follow/error.h"

namespace remora {
namespace {

png_uint_32 formatOf(int channels) {
  switch (channels) {
    case 1:
      return PNG_FORMAT_GRAY;
    case 3:
      return PNG_FORMAT_RGB;
    default:
      return PNG_FORMAT_RGBA;
  }
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

// The last piece of every PNG file, and how files end that name their maker.
std::string fileEnd() { return chunk("IEND", ""); }
std::string endOf(const char* maker) {
  return chunk("tEXt", std::string("Software") + '\0' + maker) + fileEnd();
}

}  // namespace

std::string encodePng(const Image& picture, bool small) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(picture.width);
  png.height = static_cast<png_uint_32>(picture.height);
  png.format = formatOf(picture.channels);
  png.flags = small ? 0 : PNG_IMAGE_FLAG_FAST;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(png);
  std::string bytes(size, '\0');
  const auto stride = static_cast<png_int_32>(picture.row_bytes);
  if (png_image_write_to_memory(&png, bytes.data(), &size, 0, picture.data, stride, nullptr) == 0) {
    throw Error(std::string("a picture cannot be written as PNG: ") + png.message);
  }
  bytes.resize(size);
  return bytes;
}

void savePng(const Image& picture, const std::string& file) { writeFile(file, encodePng(picture)); }

void savePngOf(const char* maker, const Image& picture, const std::string& file) {
  std::string bytes = encodePng(picture);
  bytes.resize(bytes.size() - fileEnd().size());
  NewFile out(file);
  fill(out, bytes + endOf(maker));
  out.commitUnsynced();
}

bool isPngOf(const char* maker, const std::string& file) {
  const std::string wanted = endOf(maker);
  std::string end(wanted.size(), '\0');
  std::ifstream in(file, std::ios::binary);
  in.seekg(-static_cast<std::streamoff>(wanted.size()), std::ios::end);
  in.read(end.data(), static_cast<std::streamsize>(end.size()));
  return in && end == wanted;
}

}  // namespace remora
