#include "follow/footage/formats/formats.h"

#include <algorithm>
#include <utility>

#include "follow/error.h"

namespace remora {

void failToDecode(const std::string& name, const std::string& why) {
  throw Error("image file '" + name + "' cannot be read: " + why);
}

void requireBacked(const std::string& bytes, double width, double height, int channels,
                   const std::string& name) {
  constexpr double kBestCompression = 1100.0;
  constexpr double kSmallImage = 1 << 20;
  if (width < 1.0 || height < 1.0) failToDecode(name, "it has no pixels");
  if (width * height * channels >
      kSmallImage + kBestCompression * static_cast<double>(bytes.size())) {
    failToDecode(name, "it is too short for its size in pixels");
  }
}

Picture upright(Picture stored, int orientation) {
  if (orientation < 2 || orientation > 8) return stored;
  const bool is_turned = orientation >= 5;
  const bool from_right =
      orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool from_bottom =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  Picture seen{stored.width, stored.height, stored.channels, {}};
  if (is_turned) std::swap(seen.width, seen.height);
  seen.pixels.resize(stored.pixels.size());
  const auto channels = static_cast<std::size_t>(stored.channels);
  auto out = seen.pixels.begin();
  for (int y = 0; y < seen.height; ++y) {
    for (int x = 0; x < seen.width; ++x) {
      const int column = is_turned ? y : x;
      const int row = is_turned ? x : y;
      const int from_x = from_right ? stored.width - 1 - column : column;
      const int from_y = from_bottom ? stored.height - 1 - row : row;
      const std::size_t at =
          static_cast<std::size_t>(from_y) * static_cast<std::size_t>(stored.width) +
          static_cast<std::size_t>(from_x);
      out = std::copy_n(stored.pixels.begin() + static_cast<std::ptrdiff_t>(at * channels),
                        channels, out);
    }
  }
  return seen;
}

}  // namespace remora
