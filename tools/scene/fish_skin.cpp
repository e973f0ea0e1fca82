#include "scene/fish_skin.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "scene/curves.h"

namespace remora::tools::scene {
namespace {

constexpr double kSkin = 92.0;  // grey levels
constexpr double kPale = 186.0;
constexpr double kDark = 28.0;

struct Spot {
  Mark mark;
  double outer, inner;   // radii of the ring and of its filling
  double ring, filling;  // grey levels
};

constexpr std::array<Spot, 8> kSpots = {{{{"snout", {7.0, 0.0}}, 4.0, 2.3, kDark, kPale},
                                         {{"eye-left", {31.0, 19.5}}, 5.6, 3.8, kPale, kDark},
                                         {{"eye-right", {31.0, -19.5}}, 5.6, 3.8, kPale, kDark},
                                         {{"disc-back", {77.0, 0.0}}, 4.6, 2.2, kDark, kPale},
                                         {{"fin-left", {88.0, 20.0}}, 5.8, 2.6, kDark, kPale},
                                         {{"fin-right", {88.0, -20.0}}, 5.8, 2.6, kDark, kPale},
                                         {{"spot-left", {114.0, 9.0}}, 6.8, 4.6, kPale, kDark},
                                         {{"spot-right", {130.0, -8.0}}, 5.8, 3.6, kPale, kDark}}};

// Places where the dorsal fin crosses a pale band.
constexpr std::array<Mark, 2> kBands = {{{"saddle", {154.0, 0.0}}, {"tail-base", {190.0, 0.0}}}};

// Half the width of the trunk.
double halfWidth(double u) {
  constexpr double kWidest = 30.0;
  constexpr double kWidestPlace = 58.0;
  if (u > kWidestPlace) return mixValues(kWidest, 7.0, smoothStep(kWidestPlace, kTailBase, u));
  return kWidest * std::sqrt(std::max(0.0, 1.0 - square(1.0 - u / kWidestPlace)));
}

// The trunk overlaps the tail fin.
double insideTrunk(const BodyPoint& p) {
  if (p.u < 0.0) return -length(p.u, p.v);
  return std::min({halfWidth(p.u) - std::abs(p.v), p.u, kTailBase + 8.0 - p.u});
}

// Distances along the fin, from its root, and across it.
BodyPoint placeOnFin(const BodyPoint& p) {
  if (p.u > kTailBase) return {p.u - kTailBase, p.v};
  const double du = p.u - 80.0;
  const double dv = std::abs(p.v) - 20.0;
  return {0.8 * du + 0.6 * dv, 0.8 * dv - 0.6 * du};
}

double insideFins(const BodyPoint& p) {
  const auto [along, across] = placeOnFin(p);
  if (p.u < kTailBase) return 10.0 * (1.0 - length(along / 25.0 - 1.0, across / 10.0));
  const double side = mixValues(6.0, 27.0, smoothStep(0.0, 40.0, along));
  const double end = 23.0 + square(across) / 43.0;
  return std::min({side - std::abs(across), end - along, along});
}

// Thin skin with rays that fan out from before the root.
double finGrey(const BodyPoint& p, double texture) {
  const auto [along, across] = placeOnFin(p);
  return kSkin + 16.0 * std::sin(38.0 * std::atan2(across, along + 12.0)) + texture;
}

// The functions below return the grey level with something painted over it.

double paintStripes(double grey, const BodyPoint& p) {
  const double present = 0.35 * smoothStep(40.0, 60.0, p.u);
  const double distance = std::abs(std::abs(p.v) - 0.68 * halfWidth(p.u));
  return mixValues(grey, kPale, present * softWeight(distance, 1.6));
}

// On top of the head: a pale rim around slats, which are parted along the middle.
double paintSuckingDisc(double grey, const BodyPoint& p) {
  const double radius = length((p.u - 44.5) / 29.0, p.v / 13.0);
  const double slats = 96.0 + 46.0 * std::sin(kTwoPi / 5.8 * (p.u + 0.25 * std::abs(p.v)));
  const double parted = mixValues(slats, kPale, softWeight(std::abs(p.v), 1.0));
  const double rimmed = mixValues(parted, kPale, smoothStep(0.77, 0.84, radius));
  return mixValues(grey, rimmed, 0.75 * smoothStep(1.0, 0.93, radius));
}

// The bands, and the dorsal fin, which is a dark line from above.
double paintBack(double grey, const BodyPoint& p) {
  for (const Mark& band : kBands) {
    const double distance = std::abs(p.u - band.place.u + 0.3 * std::abs(p.v));
    grey = mixValues(grey, kPale, 0.8 * softWeight(distance, 2.0 + 0.1 * halfWidth(p.u)));
  }
  return mixValues(grey, kDark, smoothStep(138.0, 142.0, p.u) * softWeight(std::abs(p.v), 1.3));
}

double paintSpots(double grey, const BodyPoint& p) {
  for (const Spot& spot : kSpots) {
    const double distance = length(p.u - spot.mark.place.u, p.v - spot.mark.place.v);
    grey = mixValues(grey, spot.ring, softWeight(distance, spot.outer));
    grey = mixValues(grey, spot.filling, softWeight(distance, spot.inner));
  }
  return grey;
}

// The flanks fall away from the light. The texture goes over the markings as well.
double trunkGrey(const BodyPoint& p, double texture, double blotch) {
  const double across = std::min(std::abs(p.v) / (halfWidth(p.u) + 1.0), 1.0);
  double grey = kSkin - 40.0 * blotch - 24.0 * square(across);
  grey = paintSuckingDisc(paintStripes(grey, p), p);
  return paintSpots(paintBack(grey, p), p) + texture;
}

}  // namespace

std::vector<Mark> marks() {
  std::vector<Mark> all;
  for (const Spot& spot : kSpots) all.push_back(spot.mark);
  all.insert(all.end(), kBands.begin(), kBands.end());
  return all;
}

double insideFish(const BodyPoint& p) { return std::max(insideTrunk(p), insideFins(p)); }

FishSkin::FishSkin(unsigned seed)
    : texture_{streamKey(seed, Stream::kSkin), 26.0, 36.0, 4, 0.7},
      blotches_{streamKey(seed, Stream::kBlotches), 1.0, 24.0, 2, 0.6} {}

Paint FishSkin::at(const BodyPoint& p) const {
  constexpr double kFinOpacity = 0.85;
  const double trunk = softWeight(-insideTrunk(p), 0.0);
  const double cover = std::max(trunk, kFinOpacity * softWeight(-insideFins(p), 0.0));
  if (cover <= 0.0) return {0.0, 0.0};
  const double texture = texture_.at(p.u, p.v);
  const double blotch = smoothStep(0.05, 0.2, blotches_.at(p.u, p.v));
  return {cover, mixValues(finGrey(p, texture), trunkGrey(p, texture, blotch), trunk)};
}

}  // namespace remora::tools::scene
