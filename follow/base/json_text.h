// JSON texts, and what is wrong with them in plain words.
#pragma once

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {

// The value that a text is. Throws Error without the name of the file: "line 3: ...".
template <class Json>
Json parseJson(const std::string& text) {
  const auto fail = [&text](std::size_t place, const char* why) -> Error {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(place, text.size()));
    return Error(format("line %td: %s", 1 + std::count(text.begin(), end, '\n'), why));
  };
  try {
    return Json::parse(text);
  } catch (const typename Json::parse_error& error) {
    const std::size_t place = error.byte == 0 ? 0 : error.byte - 1;
    throw fail(place, place >= text.size() ? "the JSON text ends too early"
                                           : "this is no JSON, or text that is not UTF-8");
  } catch (const typename Json::out_of_range&) {
    throw Error("line 1 or below: a number is larger than any can be");
  }
}

}  // namespace remora
