// The two maps from the C library's rand() to the unit interval.
//
// The library never seeds the generator. The order in which it draws is part of its behaviour: the
// same seed and inputs give the same model, byte for byte, so no draw may be added, left out or
// moved.
#pragma once

#include <cmath>
#include <cstdlib>

#include "internal/draws.h"

namespace remora::internal {

static_assert(RAND_MAX == 2147483647, "the maps below are made for 31-bit draws");

// In [0, 1], both ends included: support pixels, displacements, placement, selection.
inline double closedUnit(int drawn) { return drawn / 2147483647.0; }
inline double drawClosedUnit() { return closedUnit(std::rand()); }

// In [0, 1): re-placement.
inline double drawHalfOpenUnit() { return std::rand() * 0x1p-31; }

// A whole number in -range ... range, as a double.
inline double drawWholeOffset(Draws& draws, int range) {
  return std::floor((2.0 * closedUnit(draws.next()) - 1.0) * range);
}

}  // namespace remora::internal
