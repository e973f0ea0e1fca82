#include "follow/report/overlay.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "cimg/CImg.h"

namespace remora {
namespace {

using Colour = std::array<unsigned char, 3>;

constexpr Colour kTracked = {255, 235, 59};
constexpr Colour kOccluded = {255, 145, 0};
constexpr Colour kLost = {255, 40, 60};
constexpr Colour kTrail = {0, 229, 255};
constexpr Colour kName = {255, 255, 255};
constexpr Colour kShade = {0, 0, 0};
constexpr int kSmallestSize = 640;  // smaller frames are enlarged
constexpr int kArm = 5;             // of a mark, pixels of the picture
constexpr int kNameSize = 13;
constexpr double kFarthest = 1e6;  // points beyond are not drawn

// Three planes, as they are drawn on.
CImg<unsigned char> enlarged(const Picture& frame, int factor) {
  constexpr int kLinear = 3;
  CImg<float> picture(static_cast<unsigned>(frame.width), static_cast<unsigned>(frame.height), 1,
                      3);
  cimg_forXYC(picture, x, y, c) {
    const int channel = frame.channels == 1 ? 0 : c;
    picture(x, y, 0, c) =
        frame.pixels[static_cast<std::size_t>((y * frame.width + x) * frame.channels + channel)];
  }
  if (factor > 1) {
    picture.resize(frame.width * factor, frame.height * factor, 1, 3, kLinear, 0, 0.0F, 0.0F, 0.0F,
                   0.0F);
  }
  return picture.cut(0.0F, 255.0F);
}

Picture interleaved(const CImg<unsigned char>& drawn) {
  Picture picture{drawn.width(), drawn.height(), 3, {}};
  picture.pixels.reserve(drawn.size());
  cimg_forXY(drawn, x, y) cimg_forC(drawn, c) picture.pixels.push_back(drawn(x, y, 0, c));
  return picture;
}

bool drawable(const TrackedPoint& point) {
  return std::abs(point.x) < kFarthest && std::abs(point.y) < kFarthest;
}

// Draws in frame coordinates.
class Drawing {
 public:
  Drawing(CImg<unsigned char>& picture, int factor) : picture_(picture), factor_(factor) {}

  void trail(const TrackedPoint& from, const TrackedPoint& to) {
    if (!drawable(from) || !drawable(to)) return;
    picture_.draw_line(at(from.x), at(from.y), at(to.x), at(to.y), kTrail.data());
  }

  void mark(const TrackedPoint& point) {
    if (!drawable(point)) return;
    switch (point.status) {
      case Status::kTracked:
        line(point, {-kArm, 0}, {kArm, 0}, kTracked);
        line(point, {0, -kArm}, {0, kArm}, kTracked);
        break;
      case Status::kOccluded:
        for (const int side : {-kArm, kArm}) {
          line(point, {-kArm, side}, {kArm, side}, kOccluded);
          line(point, {side, -kArm}, {side, kArm}, kOccluded);
        }
        break;
      case Status::kLost:
        line(point, {-kArm, -kArm}, {kArm, kArm}, kLost);
        line(point, {-kArm, kArm}, {kArm, -kArm}, kLost);
        break;
    }
  }

  void name(const TrackedPoint& point, const std::string& text) {
    if (!drawable(point)) return;
    const int x = at(point.x) + kArm + 2;
    const int y = at(point.y) - kNameSize - 1;
    picture_.draw_text(x + 1, y + 1, "%s", kShade.data(), 0, 1, kNameSize, text.c_str());
    picture_.draw_text(x, y, "%s", kName.data(), 0, 1, kNameSize, text.c_str());
  }

 private:
  using Offset = std::array<int, 2>;

  // Pixel centres stay pixel centres.
  int at(double coordinate) const {
    return static_cast<int>(std::lround((coordinate + 0.5) * factor_ - 0.5));
  }

  void line(const TrackedPoint& point, const Offset& from, const Offset& to, const Colour& colour) {
    const int x = at(point.x);
    const int y = at(point.y);
    picture_.draw_line(x + from[0], y + from[1], x + to[0], y + to[1], colour.data());
  }

  CImg<unsigned char>& picture_;
  int factor_;
};

}  // namespace

Picture drawOverlay(const Picture& frame, const Tracks& tracks, std::size_t index) {
  const int size = std::max({frame.width, frame.height, 1});
  const int factor = (kSmallestSize + size - 1) / size;
  CImg<unsigned char> picture = enlarged(frame, factor);
  Drawing drawing(picture, factor);
  const TrackedShape& shape = tracks.shapes[index];
  for (std::size_t p = 0; p < shape.size(); ++p) {
    for (std::size_t i = index - std::min(index, kTrailFrames); i < index; ++i) {
      drawing.trail(tracks.shapes[i][p], tracks.shapes[i + 1][p]);
    }
  }
  for (std::size_t p = 0; p < shape.size(); ++p) {
    drawing.mark(shape[p]);
    drawing.name(shape[p], tracks.names[p]);
  }
  return interleaved(picture);
}

}  // namespace remora
