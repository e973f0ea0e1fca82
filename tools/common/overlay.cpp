#include "common/overlay.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace remora::tools {
namespace {

using Colour = std::array<unsigned char, 3>;

constexpr Colour kCross = {255, 235, 59};
constexpr Colour kTrail = {0, 229, 255};
constexpr Colour kName = {255, 255, 255};
constexpr Colour kShade = {0, 0, 0};
constexpr int kSmallestSize = 640;  // smaller frames are enlarged
constexpr std::size_t kTrailFrames = 12;
constexpr int kArm = 5;  // of a cross, pixels of the picture
constexpr int kNameSize = 13;
constexpr double kFarthest = 1e6;  // points beyond are not drawn

CImg<unsigned char> enlarged(const CImg<float>& frame, int factor) {
  constexpr int kLinear = 3;
  CImg<float> picture = frame.get_channels(0, std::min(frame.spectrum(), 3) - 1);
  picture.resize(frame.width() * factor, frame.height() * factor, 1, picture.spectrum(), kLinear, 0,
                 0.0F, 0.0F, 0.0F, 0.0F);
  picture.resize(picture.width(), picture.height(), 1, 3, 1, 0, 0.0F, 0.0F, 0.0F, 0.0F);
  return picture.cut(0.0F, 255.0F);
}

bool drawable(const Point& point) {
  return std::abs(point.x) < kFarthest && std::abs(point.y) < kFarthest;
}

// Draws in frame coordinates.
class Drawing {
 public:
  Drawing(CImg<unsigned char>& picture, int factor) : picture_(picture), factor_(factor) {}

  void line(const Point& from, const Point& to, const Colour& colour) {
    if (!drawable(from) || !drawable(to)) return;
    picture_.draw_line(at(from.x), at(from.y), at(to.x), at(to.y), colour.data());
  }

  void cross(const Point& point) {
    if (!drawable(point)) return;
    const int x = at(point.x);
    const int y = at(point.y);
    picture_.draw_line(x - kArm, y, x + kArm, y, kCross.data());
    picture_.draw_line(x, y - kArm, x, y + kArm, kCross.data());
  }

  void name(const Point& point, const std::string& text) {
    if (!drawable(point)) return;
    const int x = at(point.x) + kArm + 2;
    const int y = at(point.y) - kNameSize - 1;
    picture_.draw_text(x + 1, y + 1, "%s", kShade.data(), 0, 1, kNameSize, text.c_str());
    picture_.draw_text(x, y, "%s", kName.data(), 0, 1, kNameSize, text.c_str());
  }

 private:
  // Pixel centres stay pixel centres.
  int at(double coordinate) const {
    return static_cast<int>(std::lround((coordinate + 0.5) * factor_ - 0.5));
  }

  CImg<unsigned char>& picture_;
  int factor_;
};

}  // namespace

CImg<unsigned char> drawOverlay(const CImg<float>& frame, const Tracks& tracks, std::size_t index) {
  const int size = std::max({frame.width(), frame.height(), 1});
  const int factor = (kSmallestSize + size - 1) / size;
  CImg<unsigned char> picture = enlarged(frame, factor);
  Drawing drawing(picture, factor);
  const Shape& shape = tracks.shapes[index];
  for (std::size_t p = 0; p < shape.size(); ++p) {
    for (std::size_t i = index - std::min(index, kTrailFrames); i < index; ++i) {
      drawing.line(tracks.shapes[i][p], tracks.shapes[i + 1][p], kTrail);
    }
  }
  for (std::size_t p = 0; p < shape.size(); ++p) {
    drawing.cross(shape[p]);
    drawing.name(shape[p], tracks.names[p]);
  }
  return picture;
}

}  // namespace remora::tools
