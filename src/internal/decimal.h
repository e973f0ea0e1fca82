// Numbers as decimal text, exact and independent of the locale. The usual ones are converted with
// integer arithmetic, all others by the standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace remora::internal {

constexpr std::size_t kLongestReal = 320;  // of a double as "%f": a sign, 309 digits, 7 more

// Write what printf writes in the C locale for "%d" and "%f"; return the end of the text.
char* writeInteger(char* to, int value);
char* writeReal(char* to, double value);  // `to` has room for kLongestReal characters

// digits / 10^decimals, correctly rounded.
// requires: digits < 10^kMostShortDigits, decimals <= kMostShortDigits
constexpr std::size_t kMostShortDigits = 15;  // their number is below 2^53
double shortReal(std::uint64_t digits, std::size_t decimals);

// Whether a whole token is a number of its type (int, float or double). Signs, exponents, inf and
// nan are understood as scanning does in the C locale; hexadecimal numbers are not.
enum class Numeral { kNumber, kOutOfRange, kNone };
constexpr std::size_t kLongestNumeral = 399;  // the longest number we print has 317 characters

// `value` is set where the token is a number, and where it is out of range to the nearest there is.
template <class Number>
Numeral readNumeral(std::string_view token, Number& value);

}  // namespace remora::internal
