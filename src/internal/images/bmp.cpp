#include <array>
#include <climits>
#include <cstdlib>

#include "internal/images/formats.h"

namespace remora::internal {
namespace {

// The header fields that the image library uses when it reads a BMP file.
struct Header {
  explicit Header(const std::array<unsigned char, 54>& bytes)
      : is_bmp(bytes[0] == 'B' && bytes[1] == 'M'),
        size(at<std::uint32_t>(bytes, 14)),
        width(at<std::int32_t>(bytes, 18)),
        height(std::abs(std::int64_t{at<std::int32_t>(bytes, 22)})),
        bits(at<std::uint16_t>(bytes, 28)),
        compression(at<std::uint32_t>(bytes, 30)),
        colours(at<std::uint32_t>(bytes, 46)),
        pixels_at(at<std::uint32_t>(bytes, 10)) {}

  template <class Number>
  static Number at(const std::array<unsigned char, 54>& bytes, std::size_t first) {
    std::uint32_t number = 0;
    for (std::size_t i = sizeof(Number); i-- > 0;) number = number << 8 | bytes[first + i];
    return static_cast<Number>(number);
  }

  bool isSupported() const {
    constexpr std::int64_t kRows = 0;
    constexpr std::int64_t kMaskedRows = 3;
    const bool is_mapped = bits == 1 || bits == 4 || bits == 8;
    const bool is_direct = bits == 16 || bits == 24 || bits == 32;
    const std::int64_t all = is_mapped ? 1 << bits : 0;
    return (is_direct || (is_mapped && (colours == 0 || colours == all))) &&
           (compression == kRows || (compression == kMaskedRows && is_direct)) && size >= 40 &&
           size <= 124 && pixels_at >= 14 + size + 4 * all;
  }

  bool fitsIn(std::int64_t file_size) const {
    constexpr std::int64_t kMost = 1 << 24;  // of width or height: the image library counts in int
    const std::int64_t row = (width * bits + 31) / 32 * 4;
    return width >= 1 && width <= kMost && height >= 1 && height <= kMost && pixels_at <= INT_MAX &&
           pixels_at + row * height <= file_size;
  }

  bool is_bmp;
  std::int64_t size, width, height, bits, compression, colours, pixels_at;
};

}  // namespace

float readBmp(const ImageFile& file, CImg<float>& image) {
  std::array<unsigned char, 54> bytes;
  const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), file.stream);
  const Header header(bytes);
  if (read < bytes.size() || !header.is_bmp) throw unreadable(file.name, "it is not a BMP image");
  if (!header.isSupported()) {
    throw unreadable(file.name,
                     "it is a BMP image that is compressed or has no whole colour table");
  }
  if (!header.fitsIn(file.size)) {
    throw unreadable(file.name, "it is too short for its size in pixels");
  }
  std::rewind(file.stream);
  image.load_bmp(file.stream);
  return kWhite;
}

}  // namespace remora::internal
