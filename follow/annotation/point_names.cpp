#include "follow/annotation/point_names.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace remora {

bool isPointName(const std::string& name) {
  const auto separates = [](char c) { return c == ',' || c == '"' || (c >= 0 && c < ' '); };
  const std::string text =
      nlohmann::json(name).dump(-1, ' ', false, nlohmann::json::error_handler_t::ignore);
  return !name.empty() && nlohmann::json::parse(text) == name &&
         std::none_of(name.begin(), name.end(), separates);
}

}  // namespace remora
