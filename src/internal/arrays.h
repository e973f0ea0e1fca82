// Raw arrays, as the public classes own them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace remora::internal {

// A count or an index that is not negative, as std::size_t.
inline std::size_t toSize(int count) { return static_cast<std::size_t>(count); }

// A copy of `values` in an array made with new[], for a member that is released with delete[]; null
// for no values, so that a file of many empty parts costs little memory.
template <class T>
std::unique_ptr<T[]> toArray(const std::vector<T>& values) {
  if (values.empty()) return nullptr;
  std::unique_ptr<T[]> array(new T[values.size()]);
  std::copy(values.begin(), values.end(), array.get());
  return array;
}

template <class T>
void release(T*& array) {
  delete[] array;
  array = nullptr;
}

}  // namespace remora::internal
