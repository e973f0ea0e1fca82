// The portable anymap formats: a magic number, width, height and, but for bitmaps, the largest
// value in plain text; then one blank and the values, row by row, the channels of a pixel side by
// side.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "internal/images/formats.h"

namespace remora::internal {
namespace {

constexpr char kDamaged[] = "it is damaged or ends too early";

enum class Values { kPlainBits, kPlain, kBits, kBytes, kPairs, kFloats };

struct Kind {
  char magic;
  unsigned channels;
  Values values;
};
constexpr Kind kKinds[] = {{'1', 1, Values::kPlainBits}, {'2', 1, Values::kPlain},
                           {'3', 3, Values::kPlain},     {'4', 1, Values::kBits},
                           {'5', 1, Values::kBytes},     {'6', 3, Values::kBytes},
                           {'f', 1, Values::kFloats},    {'F', 3, Values::kFloats}};

class NetpbmReader {
 public:
  explicit NetpbmReader(const ImageFile& file) : file_(file) {}

  // Returns the value of white.
  float read(CImg<float>& image) {
    readHeader();
    skipLineFeed();
    requireBacked();
    image.assign(width_, height_, 1, channels_);
    std::vector<float> row(std::size_t{width_} * channels_);
    for (unsigned line = 0; line < height_; ++line) {
      readRow(row);
      const unsigned y = values_ == Values::kFloats ? height_ - 1 - line : line;
      const float* value = row.data();
      cimg_forX(image, x) {
        for (unsigned c = 0; c < channels_; ++c)
          image(static_cast<unsigned>(x), y, 0, c) = *value++;
      }
    }
    return white_;
  }

 private:
  void readHeader() {
    const int p = next();
    const int magic = next();
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [magic](const Kind& k) { return k.magic == magic; });
    if (p != 'P' || kind == std::end(kKinds)) {
      throw unreadable(file_.name, "it is not a PNM or PFM image");
    }
    channels_ = kind->channels;
    values_ = kind->values;
    width_ = number();
    height_ = number();
    if (width_ == 0 || height_ == 0) throw unreadable(file_.name, kDamaged);
    if (values_ == Values::kFloats) {
      readByteOrder();
    } else if (values_ == Values::kPlain || values_ == Values::kBytes) {
      const unsigned largest = number();
      white_ = static_cast<float>(largest);
      if (largest > 255 && values_ == Values::kBytes) values_ = Values::kPairs;
    }
  }

  // A row of the file in bytes; of plain numbers, at least.
  std::size_t rowBytes() const {
    const std::size_t values = std::size_t{width_} * channels_;
    switch (values_) {
      case Values::kBits:
        return (values + 7) / 8;
      case Values::kPlainBits:
      case Values::kBytes:
        return values;
      case Values::kPlain:
      case Values::kPairs:
        return 2 * values;
      case Values::kFloats:
        return 4 * values;
    }
    return 0;
  }

  double bytesAnnounced() const { return static_cast<double>(rowBytes()) * height_; }

  // A header whose lines end in CR LF is one blank longer; but the LF may be the first value.
  void skipLineFeed() {
    if (blank_ != '\r') return;
    const auto rest = static_cast<double>(file_.size - std::ftell(file_.stream));
    const int c = next();
    if (c != '\n' || rest <= bytesAnnounced()) std::ungetc(c, file_.stream);
  }

  void requireBacked() const {
    constexpr double kLastBlank = 1;  // after plain numbers, may be missing
    if (bytesAnnounced() > static_cast<double>(file_.size) + kLastBlank) {
      throw unreadable(file_.name, "it is too short for its size in pixels");
    }
  }

  void readRow(std::vector<float>& row) {
    if (values_ == Values::kPlainBits) {
      for (float& value : row) value = plainBit();
    } else if (values_ == Values::kPlain) {
      for (float& value : row) value = static_cast<float>(number());
    } else {
      bytes_.resize(rowBytes());
      const std::size_t read = std::fread(bytes_.data(), 1, bytes_.size(), file_.stream);
      if (read < bytes_.size()) throw unreadable(file_.name, kDamaged);
      for (std::size_t i = 0; i < row.size(); ++i) row[i] = storedValue(i);
    }
  }

  // Value i of the row that was read last. A bit that is set is black.
  float storedValue(std::size_t i) const {
    if (values_ == Values::kBits) return (bytes_[i / 8] >> (7 - i % 8) & 1) != 0 ? 0.0F : 255.0F;
    if (values_ == Values::kBytes) return bytes_[i];
    if (values_ == Values::kFloats) return floatAt(&bytes_[4 * i]);
    return static_cast<float>(bytes_[2 * i] << 8 | bytes_[2 * i + 1]);
  }

  float plainBit() {
    const int c = firstOf(next());
    if (c != '0' && c != '1') throw unreadable(file_.name, kDamaged);
    return c == '1' ? 0.0F : 255.0F;
  }

  float floatAt(const unsigned char* bytes) const {
    std::uint32_t bits = 0;
    for (unsigned i = 0; i < 4; ++i) {
      bits |= std::uint32_t{bytes[i]} << (is_little_endian_ ? 8 * i : 24 - 8 * i);
    }
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  // The scale of a float image: a negative one says that bytes go from low to high.
  void readByteOrder() {
    int c = firstOf(next());
    is_little_endian_ = c == '-';
    bool is_number = false;
    for (; c > ' ' && std::strchr("+-.0123456789eE", c) != nullptr; c = next()) {
      is_number = is_number || (c >= '0' && c <= '9');
    }
    if (!is_number || !isBlank(c)) throw unreadable(file_.name, kDamaged);
    blank_ = c;
  }

  // The next whole number, and the blank after it.
  unsigned number() {
    constexpr unsigned kTooLarge = 1U << 28;
    int c = firstOf(next());
    if (c < '0' || c > '9') throw unreadable(file_.name, kDamaged);
    unsigned value = 0;
    for (; c >= '0' && c <= '9' && value < kTooLarge; c = next()) {
      value = 10 * value + static_cast<unsigned>(c - '0');
    }
    if (value >= kTooLarge || (c != EOF && !isBlank(c))) throw unreadable(file_.name, kDamaged);
    blank_ = c;
    return value;
  }

  // `c`, or the first character after it that is neither blank nor part of a comment.
  int firstOf(int c) {
    while (isBlank(c) || c == '#') {
      const bool is_comment = c == '#';
      while (is_comment && c != '\n' && c != EOF) c = next();
      c = next();
    }
    return c;
  }

  static bool isBlank(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  int next() { return std::getc(file_.stream); }

  const ImageFile& file_;
  Values values_ = Values::kBytes;
  unsigned width_ = 0, height_ = 0, channels_ = 1;
  float white_ = kWhite;
  bool is_little_endian_ = false;
  int blank_ = 0;  // the one after the number that was read last
  std::vector<unsigned char> bytes_;
};

}  // namespace

float readNetpbm(const ImageFile& file, CImg<float>& image) {
  return NetpbmReader(file).read(image);
}

}  // namespace remora::internal
