// A flat LP file as the reference of prediction sees it.
#pragma once

#include <algorithm>
#include <cmath>

#include "../reference.h"
#include "cimg/CImg.h"
#include "fast_lp.h"
#include "fuzz.h"

namespace fuzz {

using reference::Entry;
using reference::Offsets;
using reference::Part;

inline Part readPart(Numbers& in, double* position) {
  Part part;
  part.lps = in.whole();
  part.entries.resize(static_cast<std::size_t>(in.whole()));
  for (int axis = 0; axis < 2; ++axis) position[axis] = in.real();
  for (Entry& entry : part.entries) {
    entry.dx = in.whole();
    entry.dy = in.whole();
  }
  for (Entry& entry : part.entries) entry.intensity = in.real();
  for (Entry& entry : part.entries) entry.weight = in.real();
  part.bias = in.real();
  return part;
}

// Merged offsets are in order, in arrays of their full length, and within the radius as read.
inline void expectPart(const Offsets& merged, const Part& part, int num_lps, int num_sp,
                       const int* offs, const double* terms, const double* weights, double bias,
                       double radius) {
  require(num_lps == part.lps && same(bias, part.bias), "counts and bias are the ones in the file");
  require(static_cast<std::size_t>(num_sp) == merged.size(), "offsets are merged");
  for (const auto& [offset, sums] : merged) {
    require(offs[0] == offset.second && offs[1] == offset.first, "offsets go by row, then column");
    require(*weights == sums.weight && same(*terms, sums.term), "what shares an offset is summed");
    offs += 2;
    ++weights;
    ++terms;
  }
  double largest = 0.0;
  for (const Entry& entry : part.entries) {
    largest = std::max({largest, std::abs(1.0 * entry.dx), std::abs(1.0 * entry.dy)});
  }
  require(radius == largest, "the radius is the largest offset");
}

constexpr double kIdentity[] = {1, 0, 0, 0, 1};

}  // namespace fuzz
