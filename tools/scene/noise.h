// Repeatable randomness: numbers that belong to the cells of a grid, and smooth noise over it.
#pragma once

#include <cstdint>

namespace remora::tools::scene {

// Every random quantity of the scene draws from a stream of its own.
enum class Stream { kMotion, kSensor, kSkin, kBlotches, kSand, kWarp, kPebbles, kVariant, kPlanks };

std::uint64_t streamKey(unsigned seed, Stream stream);

// In [0, 1).
double randomUnit(std::uint64_t key, std::int64_t column, std::int64_t row);

// A sum of octaves, each with half the wavelength of the one before.
struct Noise {
  std::uint64_t key;
  double amplitude;  // of the first octave
  double wavelength;
  int octaves;
  double persistence;  // amplitude of an octave relative to the one before

  double at(double x, double y) const;
};

}  // namespace remora::tools::scene
