#include "follow/annotation/formats/place.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {

std::string shown(const std::string& text) {
  using Json = nlohmann::json;
  constexpr std::size_t kMostShown = 60;
  const std::string part = text.size() > kMostShown ? text.substr(0, kMostShown) + "..." : text;
  return Json(part).dump(-1, ' ', true, Json::error_handler_t::replace);
}

void Place::refuse(const std::string& why) const {
  long counted = number;
  if (text != nullptr) counted = 1 + std::count(text->begin(), text->begin() + number, '\n');
  throw Error(file + format(", %s %ld: ", unit, counted) + why);
}

}  // namespace remora
