#include "scene/noise.h"

#include <cmath>

#include "scene/curves.h"

namespace remora::tools::scene {
namespace {

std::uint64_t mixBits(std::uint64_t bits) {
  bits = (bits ^ (bits >> 31)) * 0xa84343b0de729249u;
  bits = (bits ^ (bits >> 29)) * 0xb001e59cb1a78bb1u;
  return bits ^ (bits >> 32);
}

// Random numbers at the lattice points, in [-1, 1), with a blend between them.
double octaveAt(std::uint64_t key, double x, double y) {
  const double left = std::floor(x);
  const double top = std::floor(y);
  const auto column = static_cast<std::int64_t>(left);
  const auto row = static_cast<std::int64_t>(top);
  const double blend = smoothStep(0.0, 1.0, x - left);
  const double above =
      mixValues(randomUnit(key, column, row), randomUnit(key, column + 1, row), blend);
  const double below =
      mixValues(randomUnit(key, column, row + 1), randomUnit(key, column + 1, row + 1), blend);
  return 2.0 * mixValues(above, below, smoothStep(0.0, 1.0, y - top)) - 1.0;
}

}  // namespace

std::uint64_t streamKey(unsigned seed, Stream stream) {
  return mixBits(mixBits(seed + std::uint64_t{1}) + static_cast<std::uint64_t>(stream));
}

double randomUnit(std::uint64_t key, std::int64_t column, std::int64_t row) {
  constexpr std::uint64_t kColumnFactor = 0xdfc85c59eda3a251u;
  constexpr std::uint64_t kRowFactor = 0xaaba79d90c0854a7u;
  constexpr double kRange = 4294967296.0;
  const std::uint64_t bits = mixBits(key + static_cast<std::uint64_t>(column) * kColumnFactor +
                                     static_cast<std::uint64_t>(row) * kRowFactor);
  return static_cast<std::uint32_t>(bits) / kRange;
}

double Noise::at(double x, double y) const {
  // A turn by 37 degrees, which hides the axes of the lattice, and half the wavelength.
  constexpr double kTurnCos = 1.6;
  constexpr double kTurnSin = 1.2;
  double column = x / wavelength;
  double row = y / wavelength;
  double weight = amplitude;
  double sum = 0.0;
  for (int i = 0; i < octaves; ++i) {
    sum += weight * octaveAt(key + static_cast<std::uint64_t>(i), column, row);
    weight *= persistence;
    const double turned = kTurnCos * column - kTurnSin * row;
    row = kTurnSin * column + kTurnCos * row;
    column = turned;
  }
  return sum;
}

}  // namespace remora::tools::scene
