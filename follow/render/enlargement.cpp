#include "follow/render/enlargement.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace remora {
namespace {

// What a place of the drawn picture is between: pixel `first` and the next one, and how much of the
// next one is in it, of 256.
struct Between {
  std::size_t first;
  std::size_t second;
  unsigned share;
};

// Middles of pixels stay where they are.
std::vector<Between> placesOf(int count, int size, int factor) {
  std::vector<Between> places;
  for (int i = 0; i < count; ++i) {
    const int at = std::clamp(2 * std::min(i, size * factor - 1) + 1 - factor, 0,
                              2 * factor * (size - 1));  // in parts of 2 * factor
    const int first = at / (2 * factor);
    const int rest = at % (2 * factor);
    places.push_back({static_cast<std::size_t>(first),
                      static_cast<std::size_t>(std::min(first + 1, size - 1)),
                      static_cast<unsigned>((256 * rest + factor) / (2 * factor))});
  }
  return places;
}

void takeRow(const Picture& frame, const Crop& part, int row, std::vector<unsigned char>& out) {
  const auto channels = static_cast<std::size_t>(frame.channels);
  const unsigned char* pixel = frame.pixels.data() + (static_cast<std::size_t>(part.top + row) *
                                                          static_cast<std::size_t>(frame.width) +
                                                      static_cast<std::size_t>(part.left)) *
                                                         channels;
  if (frame.channels == 3) {
    std::copy_n(pixel, out.size(), out.begin());
    return;
  }
  for (std::size_t i = 0; i < out.size(); i += 3, ++pixel)
    out[i] = out[i + 1] = out[i + 2] = *pixel;
}

// Rows of the part, of which each is asked for several times, one after the other.
class Rows {
 public:
  Rows(const Picture& frame, const Crop& part) : frame_(frame), part_(part) {
    for (Row& row : rows_) row.pixels.resize(static_cast<std::size_t>(part.width) * 3);
  }

  const std::vector<unsigned char>& at(std::size_t number) {
    Row& row = rows_[number % 2];
    if (row.number != static_cast<long>(number)) {
      row.number = static_cast<long>(number);
      takeRow(frame_, part_, static_cast<int>(number), row.pixels);
    }
    return row.pixels;
  }

 private:
  struct Row {
    long number = -1;
    std::vector<unsigned char> pixels;
  };

  const Picture& frame_;
  const Crop& part_;
  Row rows_[2];
};

}  // namespace

Picture enlarged(const Picture& frame, const Crop& part, int factor, bool even) {
  const auto sizeOf = [&](int size) { return size * factor + (even ? size * factor % 2 : 0); };
  Picture picture{sizeOf(part.width), sizeOf(part.height), 3, {}};
  const std::vector<Between> columns = placesOf(picture.width, part.width, factor);
  const std::vector<Between> lines = placesOf(picture.height, part.height, factor);
  picture.pixels.resize(columns.size() * lines.size() * 3);
  Rows rows(frame, part);
  std::vector<unsigned> mixed(static_cast<std::size_t>(part.width) * 3);
  unsigned char* out = picture.pixels.data();
  for (const Between& line : lines) {
    const std::vector<unsigned char>& above = rows.at(line.first);
    const std::vector<unsigned char>& below = rows.at(line.second);
    if (factor == 1) {
      out = std::copy(above.begin(), above.end(), out);
      if (picture.width > part.width) out = std::copy(above.end() - 3, above.end(), out);
      continue;
    }
    for (std::size_t i = 0; i < mixed.size(); ++i) {
      mixed[i] = above[i] * (256U - line.share) + below[i] * line.share;
    }
    for (const Between& column : columns) {
      const unsigned* const left = &mixed[column.first * 3];
      const unsigned* const right = &mixed[column.second * 3];
      for (int c = 0; c < 3; ++c) {
        *out++ = static_cast<unsigned char>(
            (left[c] * (256U - column.share) + right[c] * column.share + 32768U) >> 16U);
      }
    }
  }
  return picture;
}

}  // namespace remora
