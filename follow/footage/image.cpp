#include "follow/footage/image.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

// Rounded 16-bit fractions of ITU-R BT.601 that sum to one.
constexpr unsigned kRed = 19595, kGreen = 38470, kBlue = 7471;

unsigned char lumaOf(unsigned red, unsigned green, unsigned blue) {
  return static_cast<unsigned char>((kRed * red + kGreen * green + kBlue * blue + 32768U) >> 16);
}

unsigned toByte(unsigned char value) { return value; }
unsigned toByte(float value) {
  const float limited = value > 0.0F ? std::min(value, 1.0F) : 0.0F;  // 0 for what is no number
  return static_cast<unsigned>(limited * 255.0F + 0.5F);
}

std::ptrdiff_t leastRowBytes(const Image& image) {
  const std::ptrdiff_t value = image.depth == Image::Depth::kByte ? 1 : sizeof(float);
  return value * image.channels * image.width;
}

template <class Value>
void convert(const Image& image, std::ptrdiff_t row_bytes, GreyImage& grey) {
  const auto* row = static_cast<const unsigned char*>(image.data);
  unsigned char* out = grey.pixels.data();
  for (int y = 0; y < image.height; ++y, row += row_bytes) {
    const auto* in = reinterpret_cast<const Value*>(row);
    for (int x = 0; x < image.width; ++x, in += image.channels) {
      *out++ = image.channels == 1 ? static_cast<unsigned char>(toByte(in[0]))
                                   : lumaOf(toByte(in[0]), toByte(in[1]), toByte(in[2]));
    }
  }
}

// Grey levels that nobody has divided by their largest would become one white area.
void requireUnits(const Image& image, std::ptrdiff_t row_bytes) {
  constexpr double kLargest = 255.0;  // a value counts as: one that is not finite decides nothing
  const std::ptrdiff_t values = static_cast<std::ptrdiff_t>(image.channels) * image.width;
  const auto* row = static_cast<const unsigned char*>(image.data);
  double sum = 0.0;
  for (int y = 0; y < image.height; ++y, row += row_bytes) {
    const auto* const in = reinterpret_cast<const float*>(row);
    for (std::ptrdiff_t i = 0; i < values; ++i) {
      if (in[i] > 0.0F) sum += std::min(static_cast<double>(in[i]), kLargest);
    }
  }
  const double mean = sum / (static_cast<double>(values) * image.height);
  if (mean <= 1.0) return;
  throw Error(
      format("a float picture has values of %.3g in the mean: they must go from 0 to 1", mean));
}

}  // namespace

void requireSense(const Image& image) {
  const auto fail = [](const std::string& why) { throw Error("a picture " + why); };
  if (image.data == nullptr) fail("has no data");
  if (image.width < 1 || image.height < 1) {
    fail(format("is %d x %d pixels", image.width, image.height));
  }
  const bool known = image.channels == 1 || image.channels == 3 || image.channels == 4;
  if (!known) fail(format("has %d channels: 1, 3 or 4 are known", image.channels));
  if (image.row_bytes != 0 && std::abs(image.row_bytes) < leastRowBytes(image)) {
    fail("has rows that overlap");
  }
}

GreyImage toGrey(const Image& image) {
  requireSense(image);
  const std::ptrdiff_t row_bytes = image.row_bytes == 0 ? leastRowBytes(image) : image.row_bytes;
  GreyImage grey{image.width, image.height, {}};
  grey.pixels.resize(static_cast<std::size_t>(image.width) *
                     static_cast<std::size_t>(image.height));
  if (image.depth == Image::Depth::kByte) {
    convert<unsigned char>(image, row_bytes, grey);
  } else {
    requireUnits(image, row_bytes);
    convert<float>(image, row_bytes, grey);
  }
  return grey;
}

}  // namespace remora
