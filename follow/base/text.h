// Small text: numbers in options and files, words, formatting.
#pragma once

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

// As printf.
template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
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

}  // namespace remora
