// What the bytes of an input describe, for targets whose input is no file.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace fuzz {

// The input, a value at a time; zeros behind its end.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), end_(data + size) {}

  template <class T>
  T raw() {
    T value{};
    const std::size_t size = std::min(sizeof value, static_cast<std::size_t>(end_ - data_));
    std::memcpy(&value, data_, size);
    data_ += size;
    return value;
  }
  int below(int limit) { return raw<std::uint8_t>() % limit; }
  bool atEnd() const { return data_ == end_; }

  // Any number, those at which something changes above all.
  double real() {
    constexpr double kSpecial[] = {0.0,   -0.0,  1.0,   -1.0,   255.0,        NAN,
                                   1e300, 3e9,   -3e9,  1e-310, HUGE_VAL,     -HUGE_VAL,
                                   1e39,  -1e39, 1e-50, 1e308,  2147483647.9, -2147483648.9};
    const int kind = below(256);
    if (kind < 100) return raw<std::int8_t>() / 8.0;
    if (kind < 200) return kSpecial[static_cast<std::size_t>(kind) % std::size(kSpecial)];
    return raw<double>();
  }

 private:
  const std::uint8_t* data_;
  const std::uint8_t* end_;
};

// Many numbers from a few bytes.
class Random {
 public:
  explicit Random(Bytes& in) : state_(in.raw<std::uint16_t>()) {}
  double real(double from, double to) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return from + (to - from) * 0x1p-53 * static_cast<double>(state_ >> 11);
  }
  int whole(int from, int to) { return static_cast<int>(std::floor(real(from, to + 1.0))); }

 private:
  std::uint64_t state_;
};

}  // namespace fuzz
