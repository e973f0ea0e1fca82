// Small text: numbers in options and files, words, formatting.
#pragma once

#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace remora::tools {

// The number that `text` is as a whole, or nothing.
template <class Number>
std::optional<Number> toNumber(std::string_view text) {
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

// As printf.
template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  const int size = std::snprintf(nullptr, 0, pattern, arguments...);
  std::string text(static_cast<std::size_t>(size), '\0');
  std::snprintf(text.data(), text.size() + 1, pattern, arguments...);
  return text;
}

// The pieces between separators; one piece when there is none.
std::vector<std::string> split(std::string_view text, char separator);

// The pieces between runs of white space.
std::vector<std::string> words(std::string_view text);

}  // namespace remora::tools
