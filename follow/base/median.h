// The middle of some values.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace remora {

// Of an even number of values the larger one of the two in the middle. requires: at least one value
template <class Value>
Value medianOf(std::vector<Value> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace remora
