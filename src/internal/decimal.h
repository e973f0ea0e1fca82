// Numbers as decimal text, exact and independent of the locale: the forms that files are full of
// are done with integers, all others by the standard library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace remora::internal {

constexpr std::size_t kLongestReal = 320;  // of a double as "%f": a sign, 309 digits, 7 more

// Write what printf writes in the C locale for "%d" and "%f"; return the end of the text.
char* writeInteger(char* to, int value);
char* writeReal(char* to, double value);  // `to` has room for kLongestReal characters

// digits / 10^decimals, correctly rounded.
// requires: digits < 10^kMostShortDigits, decimals <= kMostShortDigits
constexpr std::size_t kMostShortDigits = 15;  // their number is below 2^53
double shortReal(std::uint64_t digits, std::size_t decimals);

}  // namespace remora::internal
