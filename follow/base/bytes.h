// Values as bytes, between processes of one program.
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace remora {

template <class T>
void putBytes(std::string& bytes, const T& value) {
  static_assert(std::is_arithmetic_v<T>);
  char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  bytes.append(raw, sizeof raw);
}

// requires: the bytes begin with such a value, which is taken off
template <class T>
T takeBytes(std::string_view& bytes) {
  static_assert(std::is_arithmetic_v<T>);
  T value;
  std::memcpy(&value, bytes.data(), sizeof value);
  bytes.remove_prefix(sizeof value);
  return value;
}

}  // namespace remora
