#include "plane.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "follow/canvas/affine.h"
#include "scene/curves.h"
#include "scene/noise.h"

namespace remora::bench {
namespace {

using tools::scene::kTwoPi;
using tools::scene::Noise;
using tools::scene::Stream;
using tools::scene::streamKey;

// Pixels of a plane of size 1.
constexpr Point kHalf = {100.0, 75.0};  // of the plane
constexpr double kRim = 12.0;           // between the points and its border

double unitOf(const PlaneSize& size) { return size.plane; }

unsigned char level(double value) {
  return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 255.0)));
}

GreyImage background(const PlaneSize& size, unsigned seed) {
  const Noise noise{streamKey(seed, Stream::kSand), 60.0, 80.0 * unitOf(size), 5, 0.6};
  GreyImage picture{size.width, size.height, {}};
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) picture.pixels.push_back(level(110.0 + noise.at(x, y)));
  }
  return picture;
}

// A grid as wide as the plane, row by row.
Shape pointsOn(const PlaneSize& size) {
  const auto count = static_cast<double>(size.points);
  const double columns = std::ceil(std::sqrt(count * kHalf.x / kHalf.y));
  const double rows = std::ceil(count / columns);
  Shape points;
  for (std::size_t i = 0; i < size.points; ++i) {
    const double row = std::floor(static_cast<double>(i) / columns);
    const double column = static_cast<double>(i) - row * columns;
    points.push_back({(kHalf.x - kRim) * (2.0 * column / (columns - 1.0) - 1.0),
                      (kHalf.y - kRim) * (2.0 * row / (rows - 1.0) - 1.0)});
  }
  return points;
}

// From the plane to the picture; `time` goes from 0 to 1.
Affine poseAt(const PlaneSize& size, double time) {
  const double phase = kTwoPi * time;
  const double angle = 0.12 * std::sin(phase + 1.0);
  const double scale = unitOf(size) * (1.0 + 0.08 * std::sin(2.0 * phase));
  const double c = scale * std::cos(angle);
  const double s = scale * std::sin(angle);
  const Point middle = {0.5 * size.width + 60.0 * unitOf(size) * std::sin(phase),
                        0.5 * size.height + 30.0 * unitOf(size) * std::sin(2.0 * phase + 0.5)};
  return {c, -s, middle.x, s, c, middle.y};
}

void paintPlane(const PlaneSize& size, const Affine& pose, GreyImage& picture) {
  const Noise texture{streamKey(1, Stream::kSkin), 70.0, 36.0, 4, 0.7};
  const Affine back = pose.inverse();
  const double reach = unitOf(size) * 1.1 * std::hypot(kHalf.x, kHalf.y);
  const auto low = [reach](double at) { return std::max(0, static_cast<int>(at - reach)); };
  const auto high = [reach](double at, int end) {
    return std::min(end, static_cast<int>(at + reach));
  };
  for (int y = low(pose.y0); y < high(pose.y0, size.height); ++y) {
    for (int x = low(pose.x0); x < high(pose.x0, size.width); ++x) {
      const Point place = back({static_cast<double>(x), static_cast<double>(y)});
      if (std::abs(place.x) > kHalf.x || std::abs(place.y) > kHalf.y) continue;
      picture.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
                     static_cast<std::size_t>(x)] = level(128.0 + texture.at(place.x, place.y));
    }
  }
}

}  // namespace

Footage movingPlane(const PlaneSize& size, int frames) {
  const GreyImage behind = background(size, 1);
  const Shape points = pointsOn(size);
  Footage footage;
  for (int i = 0; i < frames; ++i) {
    const Affine pose = poseAt(size, static_cast<double>(i) / frames);
    GreyImage picture = behind;
    paintPlane(size, pose, picture);
    footage.add(std::move(picture), pose(points));
  }
  return footage;
}

std::vector<GreyImage> withoutPlane(const PlaneSize& size, int frames) {
  std::vector<GreyImage> pictures;
  for (int i = 0; i < frames; ++i) {
    pictures.push_back(background(size, 2 + static_cast<unsigned>(i)));
  }
  return pictures;
}

}  // namespace remora::bench
