// The records that other programs write for a trained bunch: LP flags and weights.
#pragma once

#include <cstddef>
#include <vector>

namespace remora::internal {

class TextReader;

// Two lists of equal length: predictor numbers for x and for y, counted from 1.
struct Flags {
  std::vector<int> x;
  std::vector<int> y;
};

// What they return is incomplete when the reader is no longer ok.
Flags readFlags(TextReader& in);
std::vector<double> readWeights(TextReader& in, std::size_t size);

}  // namespace remora::internal
