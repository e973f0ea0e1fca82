#include <array>
#include <cstdlib>

#include "internal/images/formats.h"

namespace remora::internal {
namespace {

// What the image library goes by when it reads a BMP file.
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

  // Bytes of the file up to the last pixel. Nothing overflows: a row has less than 2^33 bytes.
  double end() const {
    const std::int64_t row = (width * bits + 31) / 32 * 4;
    return static_cast<double>(pixels_at) + static_cast<double>(row) * static_cast<double>(height);
  }

  bool is_bmp;
  std::int64_t size, width, height, bits, compression, colours, pixels_at;
};

}  // namespace

void readBmp(const ImageFile& file, CImg<float>& image) {
  std::array<unsigned char, 54> bytes;
  const std::size_t read = std::fread(bytes.data(), 1, bytes.size(), file.stream);
  const Header header(bytes);
  if (read < bytes.size() || !header.is_bmp) throw unreadable(file.name, "it is not a BMP image");
  if (!header.isSupported()) {
    throw unreadable(file.name,
                     "it is a BMP image that is compressed or has no whole colour table");
  }
  if (header.width < 1 || header.height < 1 || header.end() > static_cast<double>(file.size)) {
    throw unreadable(file.name, "it is too short for its size in pixels");
  }
  std::rewind(file.stream);
  image.load_bmp(file.stream);
}

}  // namespace remora::internal
