#include "follow/annotation/formats/json_values.h"

namespace remora {

using Json = nlohmann::json;

const Json& member(const Json& object, const char* key, const Place& place) {
  if (!object.is_object()) place.refuse("it is no object");
  const auto found = object.find(key);
  if (found == object.end()) place.refuse(std::string("it has no \"") + key + '"');
  return *found;
}

const Json& listOf(const Json& object, const char* key, const Place& place) {
  const Json& list = member(object, key, place);
  if (!list.is_array()) place.refuse(std::string("its \"") + key + "\" is no list");
  return list;
}

std::string textOf(const Json& object, const char* key, const Place& place) {
  const Json& text = member(object, key, place);
  if (!text.is_string()) place.refuse(std::string("its \"") + key + "\" is no text");
  return text.get<std::string>();
}

double realOf(const Json& value, const Place& place) {
  if (!value.is_number()) place.refuse("a position holds what is no number");
  return value.get<double>();
}

double sizeOf(const Json& object, const char* key, const Place& place) {
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return 0.0;
  if (!found->is_number()) place.refuse(std::string("its \"") + key + "\" is no number");
  return found->get<double>();
}

}  // namespace remora
