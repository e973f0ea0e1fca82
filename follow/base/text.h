// Small text: numbers in options and files, words, formatting.
#pragma once

#include <locale.h>

#include <cstdio>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "follow/export.h"

namespace remora {

// The int, float or double that `text` is as a whole, by the rules of the engine's
// readers, or nothing.
template <class Number>
REMORA_FOLLOW_EXPORT std::optional<Number> toNumber(std::string_view text);

// While it lives, this thread writes numbers as the C locale does, whatever the host has set.
class REMORA_FOLLOW_EXPORT PlainNumbers {
 public:
  PlainNumbers();
  ~PlainNumbers();
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;

 private:
  locale_t before_;
};

// As printf, in the C locale.
template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  const PlainNumbers plain;
  const int size = std::snprintf(nullptr, 0, pattern, arguments...);
  std::string text(static_cast<std::size_t>(size), '\0');
  std::snprintf(text.data(), text.size() + 1, pattern, arguments...);
  return text;
}

// The pieces between separators; one piece when there is none.
REMORA_FOLLOW_EXPORT std::vector<std::string> split(std::string_view text, char separator);

// The pieces between runs of white space.
REMORA_FOLLOW_EXPORT std::vector<std::string> words(std::string_view text);

// The next line without its end, LF or CR LF; nothing at the end of the text.
REMORA_FOLLOW_EXPORT std::optional<std::string> nextLine(std::istream& text);

// Ascending numbers, as 3,7-9.
REMORA_FOLLOW_EXPORT std::string rangesOf(const std::vector<std::size_t>& numbers);

}  // namespace remora
