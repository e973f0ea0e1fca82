#include "internal/decimal.h"

#include <locale.h>
#include <stdlib.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

namespace remora::internal {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr int kDecimals = 6;
constexpr std::uint64_t kMillion = 1000000;
constexpr double kLargestByIntegers = 0x1p43;  // times a million it fits 64 bits

// round(value * 10^6), ties to even, as printf rounds: the product is formed exactly.
// requires: 0 <= value < kLargestByIntegers
std::uint64_t millionths(double value) {
  constexpr int kMantissaBits = 53;
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const int exponent = static_cast<int>(bits >> 52);
  if (exponent == 0) return 0;  // zero or subnormal
  const std::uint64_t mantissa = (bits & ((std::uint64_t{1} << 52) - 1)) | std::uint64_t{1} << 52;
  const int shift = 1022 + kMantissaBits - exponent;  // value = mantissa / 2^shift
  if (shift > 100) return 0;                          // less than half of a millionth
  const Wide product = Wide{mantissa} * kMillion;
  const auto whole = static_cast<std::uint64_t>(product >> shift);
  const Wide rest = product & ((Wide{1} << shift) - 1);
  const Wide half = Wide{1} << (shift - 1);
  return whole + (rest > half || (rest == half && (whole & 1) != 0) ? 1 : 0);
}

// Writes the last `digits` digits of a value, with leading zeros.
char* writeDigits(char* to, std::uint64_t value, int digits) {
  for (char* at = to + digits; at != to; value /= 10) *--at = static_cast<char>('0' + value % 10);
  return to + digits;
}

// What scanning gives for a number that is out of range: zero, or the nearest subnormal number, for
// one that is too small; infinity for one that is too large.
template <class Number>
Number unrepresentable(std::string_view token) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  const std::string text(token);
  if constexpr (std::is_same_v<Number, float>) return strtof_l(text.c_str(), nullptr, c_locale);
  if constexpr (std::is_same_v<Number, double>) return strtod_l(text.c_str(), nullptr, c_locale);
  return std::numeric_limits<Number>::max();
}

template <class Number>
bool isTiny(Number value) {
  return value > -1 && value < 1;
}

}  // namespace

char* writeInteger(char* to, int value) {
  constexpr std::size_t kLongest = 11;
  return std::to_chars(to, to + kLongest, value).ptr;
}

char* writeReal(char* to, double value) {
  if (!(std::abs(value) < kLargestByIntegers)) {
    return std::to_chars(to, to + kLongestReal, value, std::chars_format::fixed, kDecimals).ptr;
  }
  if (std::signbit(value)) *to++ = '-';
  const std::uint64_t scaled = millionths(std::abs(value));
  constexpr std::size_t kLongestWhole = 14;
  to = std::to_chars(to, to + kLongestWhole, scaled / kMillion).ptr;
  *to++ = '.';
  return writeDigits(to, scaled % kMillion, kDecimals);
}

// Digits and power of ten are exact in double, so that one division rounds once.
double shortReal(std::uint64_t digits, std::size_t decimals) {
  static constexpr double kPowers[kMostShortDigits + 1] = {
      1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  return static_cast<double>(digits) / kPowers[decimals];
}

template <class Number>
Numeral readNumeral(std::string_view token, Number& value) {
  const char* const end = token.data() + token.size();
  const bool plus = token.size() > 1 && token[0] == '+' && token[1] != '-';
  const auto [stop, error] = std::from_chars(token.data() + (plus ? 1 : 0), end, value);
  if (error == std::errc::result_out_of_range) {
    value = unrepresentable<Number>(token);
    if (!isTiny(value)) return Numeral::kOutOfRange;
  }
  const bool whole = stop == end && token.size() <= kLongestNumeral;
  return error == std::errc::invalid_argument || !whole ? Numeral::kNone : Numeral::kNumber;
}

template Numeral readNumeral(std::string_view, int&);
template Numeral readNumeral(std::string_view, float&);
template Numeral readNumeral(std::string_view, double&);

}  // namespace remora::internal
