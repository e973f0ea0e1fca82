#include "follow/base/text.h"

#include <sstream>

#include "internal/decimal.h"

namespace remora {

template <class Number>
std::optional<Number> toNumber(std::string_view text) {
  Number value{};
  if (internal::readNumeral(text, value) != internal::Numeral::kNumber) return std::nullopt;
  return value;
}
template std::optional<int> toNumber<int>(std::string_view);
template std::optional<float> toNumber<float>(std::string_view);
template std::optional<double> toNumber<double>(std::string_view);

PlainNumbers::PlainNumbers() {
  static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
  before_ = uselocale(c);
}

PlainNumbers::~PlainNumbers() { uselocale(before_); }

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::vector<std::string> words(std::string_view text) {
  std::istringstream in{std::string(text)};
  std::vector<std::string> found;
  for (std::string word; in >> word;) found.push_back(word);
  return found;
}

std::optional<std::string> nextLine(std::istream& text) {
  std::string line;
  if (!std::getline(text, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

std::string rangesOf(const std::vector<std::size_t>& numbers) {
  std::string text;
  for (std::size_t first = 0; first < numbers.size();) {
    std::size_t last = first;
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
    text += (text.empty() ? "" : ",") + std::to_string(numbers[first]);
    if (last > first) text += '-' + std::to_string(numbers[last]);
    first = last + 1;
  }
  return text;
}

}  // namespace remora
