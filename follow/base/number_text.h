// Text files that hold nothing but numbers, separated by white space.
#pragma once

#include <algorithm>
#include <optional>
#include <string_view>

#include "follow/base/text.h"

namespace remora {

// Walks through the numbers of a text; not ok from the first token that is none of the wanted type.
class NumberText {
 public:
  explicit NumberText(std::string_view text) : text_(text) { skipWhiteSpace(); }

  bool ok() const { return ok_; }
  bool atEnd() const { return text_.empty(); }
  bool complete() const { return ok_ && atEnd(); }

  int integer() { return take<int>(); }
  double real() { return take<double>(); }

  int count() {
    const int value = integer();
    if (value < 0) ok_ = false;
    return ok_ ? value : 0;
  }

  void skipIntegers(long size) {
    for (long i = 0; i < size && ok_; ++i) integer();
  }
  void skipReals(long size) {
    for (long i = 0; i < size && ok_; ++i) real();
  }

  // The token before the next one, where the walk stops when it is not ok. Empty at the end.
  std::string_view token() const { return token_; }
  // The line of that token, counted from 1; at the end that of the last token.
  long line() const { return line_; }

 private:
  static constexpr char kWhiteSpace[] = " \t\n\v\f\r";

  template <class Number>
  Number take() {
    if (!ok_) return {};
    if (!text_.empty()) line_ = next_line_;
    token_ = text_.substr(0, text_.find_first_of(kWhiteSpace));
    const auto value = toNumber<Number>(token_);
    text_.remove_prefix(token_.size());
    skipWhiteSpace();
    ok_ = value.has_value();
    return value.value_or(Number{});
  }

  void skipWhiteSpace() {
    const std::size_t size = std::min(text_.find_first_not_of(kWhiteSpace), text_.size());
    next_line_ +=
        std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(size), '\n');
    text_.remove_prefix(size);
  }

  std::string_view text_;  // what is left
  std::string_view token_;
  long next_line_ = 1;
  long line_ = 1;
  bool ok_ = true;
};

}  // namespace remora
