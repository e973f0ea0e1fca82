// Values in JSON, with messages for what is not there or of another kind.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "follow/annotation/formats/place.h"

namespace remora {

const nlohmann::json& member(const nlohmann::json& object, const char* key, const Place& place);
const nlohmann::json& listOf(const nlohmann::json& object, const char* key, const Place& place);
std::string textOf(const nlohmann::json& object, const char* key, const Place& place);
double realOf(const nlohmann::json& value, const Place& place);
// 0 where the key is not there, or null.
double sizeOf(const nlohmann::json& object, const char* key, const Place& place);

}  // namespace remora
