#include "follow/render/tracks_drawing.h"

#include <algorithm>
#include <cmath>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr Colour kCertain = {105, 240, 90};
constexpr Colour kUncertain = {255, 235, 59};
constexpr Colour kOccluded = {255, 145, 0};
constexpr Colour kLost = {255, 40, 60};
constexpr Colour kTrail = {0, 229, 255};
constexpr Colour kLine = {255, 255, 255};
constexpr Colour kName = {255, 255, 255};
constexpr Colour kShade = {0, 0, 0};
constexpr int kSmallestSide = 640;  // frames whose sides are all smaller are enlarged
constexpr int kLargestSide = 32767;
constexpr double kUsualSide = 1000.0;  // larger pictures have larger marks
constexpr double kArm = 5.0;           // of a mark, pixels of a picture of usual size
constexpr double kNameHeight = 15.0;
constexpr double kMarkWidth = 1.3;
constexpr double kShadeWidth = 1.8;  // of what is dark around a mark
constexpr double kShadeOpacity = 0.6;
constexpr double kTrailWidth = 1.5;
constexpr double kTrailOpacity = 0.9;
constexpr double kLineOpacity = 0.55;
constexpr double kLeaderOpacity = 0.6;
constexpr double kFarthest = 1e6;  // points beyond are not drawn

bool isDrawable(const TrackedPoint& point) {
  return std::abs(point.x) < kFarthest && std::abs(point.y) < kFarthest;
}

bool isFound(const TrackedPoint& point) {
  return isDrawable(point) && point.status != Status::kLost;
}

unsigned char mixed(unsigned char from, unsigned char to, double share) {
  return static_cast<unsigned char>(std::lround(from + (to - from) * share));
}

Colour colourOf(const TrackedPoint& point) {
  if (point.status == Status::kOccluded) return kOccluded;
  if (point.status == Status::kLost) return kLost;
  if (std::isnan(point.confidence)) return kUncertain;
  const double share = std::clamp(2.0 * point.confidence - 1.0, 0.0, 1.0);
  return {mixed(kUncertain.red, kCertain.red, share),
          mixed(kUncertain.green, kCertain.green, share),
          mixed(kUncertain.blue, kCertain.blue, share)};
}

Crop partOf(const Picture& frame, const std::optional<Crop>& crop) {
  if (!crop) return {0, 0, frame.width, frame.height};
  const bool fits = crop->left >= 0 && crop->top >= 0 && crop->width > 0 && crop->height > 0 &&
                    crop->left <= frame.width - crop->width &&
                    crop->top <= frame.height - crop->height;
  if (fits) return *crop;
  throw Error(format("the part of %d x %d pixels at %d, %d leaves the frame, which is %d x %d",
                     crop->width, crop->height, crop->left, crop->top, frame.width, frame.height));
}

int enlargementOf(const DrawingStyle& style, const Crop& part) {
  const int side = std::max({part.width, part.height, 1});
  const int factor = style.enlargement > 0 ? style.enlargement : (kSmallestSide + side - 1) / side;
  if (factor <= kLargestSide / side) return factor;
  throw Error(format("%d x %d pixels, %d times as large, are more than %d in a row", part.width,
                     part.height, factor, kLargestSide));
}

using Strokes = std::vector<std::pair<Spot, Spot>>;

// Of a mark around a spot.
Strokes strokesOf(Status status, const Spot& at, double arm) {
  const auto spot = [&](int x, int y) { return Spot{at.x + x * arm, at.y + y * arm}; };
  switch (status) {
    case Status::kTracked:
      return {{spot(-1, 0), spot(1, 0)}, {spot(0, -1), spot(0, 1)}};
    case Status::kOccluded:
      return {{spot(-1, -1), spot(1, -1)},
              {spot(1, -1), spot(1, 1)},
              {spot(1, 1), spot(-1, 1)},
              {spot(-1, 1), spot(-1, -1)}};
    default:
      return {{spot(-1, -1), spot(1, 1)}, {spot(-1, 1), spot(1, -1)}};
  }
}

Spot nearestIn(const Box& box, const Spot& to) {
  return {std::clamp(to.x, static_cast<double>(box.left), box.left + box.width - 1.0),
          std::clamp(to.y, static_cast<double>(box.top), box.top + box.height - 1.0)};
}

}  // namespace

// How frames become what is drawn on.
class TracksDrawing::Scale {
 public:
  Scale(const Crop& part, int factor)
      : part_(part),
        factor_(factor),
        unit_(std::max(1.0, std::max(part.width, part.height) * factor / kUsualSide)) {}

  // Pixel centres stay pixel centres.
  Spot at(const TrackedPoint& point) const {
    return {(point.x - part_.left + 0.5) * factor_ - 0.5,
            (point.y - part_.top + 0.5) * factor_ - 0.5};
  }
  bool shows(const TrackedPoint& point) const {
    return isDrawable(point) && point.x > part_.left - 0.5 && point.y > part_.top - 0.5 &&
           point.x < part_.left + part_.width - 0.5 && point.y < part_.top + part_.height - 0.5;
  }
  double of(double pixels) const { return pixels * unit_; }
  int whole(double pixels) const { return static_cast<int>(std::lround(of(pixels))); }

 private:
  Crop part_;
  int factor_;
  double unit_;
};

const Lettering& TracksDrawing::letteringOf(const std::string& name, int height) {
  const auto [found, is_new] = letterings_.try_emplace({name, height});
  if (is_new) found->second = setText(name, height);
  return found->second;
}

void TracksDrawing::drawLines(Painter& painter, const Scale& scale,
                              const TrackedShape& shape) const {
  for (const auto& [from, to] : style_.lines) {
    if (from >= shape.size() || to >= shape.size()) continue;
    if (!isFound(shape[from]) || !isFound(shape[to])) continue;
    painter.line(scale.at(shape[from]), scale.at(shape[to]), scale.of(kTrailWidth), kLine,
                 kLineOpacity);
  }
}

void TracksDrawing::drawTrails(Painter& painter, const Scale& scale, const Tracks& tracks,
                               std::size_t index) const {
  const std::size_t first = index - std::min(index, style_.trail);
  for (std::size_t i = first; i < index; ++i) {
    const double age = static_cast<double>(index - 1 - i) / static_cast<double>(style_.trail);
    for (std::size_t p = 0; p < tracks.shapes[i].size(); ++p) {
      const TrackedPoint& from = tracks.shapes[i][p];
      const TrackedPoint& to = tracks.shapes[i + 1][p];
      if (!isFound(from) || !isFound(to)) continue;
      painter.line(scale.at(from), scale.at(to), scale.of(kTrailWidth), kTrail,
                   kTrailOpacity * (1.0 - age));
    }
  }
}

void TracksDrawing::drawNames(Painter& painter, const Scale& scale, const TrackedShape& shape,
                              const std::vector<std::string>& names) {
  const int height = scale.whole(kNameHeight);
  const double far = 2.0 * height;  // names farther from their points are led to
  for (const TrackedPoint& point : shape) {
    if (scale.shows(point)) places_.avoid(scale.at(point));
  }
  for (std::size_t p = 0; p < shape.size(); ++p) {
    if (!scale.shows(shape[p]) || p >= names.size()) continue;
    const Spot at = scale.at(shape[p]);
    const Lettering& name = letteringOf(names[p], height);
    const auto box = places_.place(p, at, name.ink.width, name.ink.height);
    if (!box) continue;
    const Spot end = nearestIn(*box, at);
    if (std::hypot(end.x - at.x, end.y - at.y) > far) {
      painter.line(at, end, scale.of(1.0), kName, kLeaderOpacity);
    }
    painter.text(name, box->left, box->top, kName);
  }
}

Picture TracksDrawing::draw(const Picture& frame, const Tracks& tracks,
                            std::optional<std::size_t> index, const std::string& caption) {
  const Crop part = partOf(frame, style_.crop);
  const int factor = enlargementOf(style_, part);
  const Scale scale(part, factor);
  Picture picture = enlarged(frame, part, factor, style_.even);
  Painter painter(picture);
  places_.begin(picture.width, picture.height, scale.whole(kArm));
  if (!caption.empty()) {
    const Lettering text = setText(caption, scale.whole(kNameHeight));
    const int margin = scale.whole(kArm);
    places_.keepClear({0, 0, text.ink.width + 2 * margin, text.ink.height + 2 * margin});
    painter.text(text, margin, margin, kName);
  }
  if (!index) return picture;
  const TrackedShape& shape = tracks.shapes[*index];
  drawLines(painter, scale, shape);
  drawTrails(painter, scale, tracks, *index);
  for (const TrackedPoint& point : shape) {
    if (!isDrawable(point)) continue;
    const Strokes strokes = strokesOf(point.status, scale.at(point), scale.of(kArm));
    for (const auto& [from, to] : strokes) {
      painter.line(from, to, scale.of(kMarkWidth + kShadeWidth), kShade, kShadeOpacity);
    }
    for (const auto& [from, to] : strokes) {
      painter.line(from, to, scale.of(kMarkWidth), colourOf(point), 1.0);
    }
  }
  if (style_.names) drawNames(painter, scale, shape, tracks.names);
  return picture;
}

}  // namespace remora
