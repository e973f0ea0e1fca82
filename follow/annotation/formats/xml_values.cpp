#include "follow/annotation/formats/xml_values.h"

#include "follow/base/text.h"

namespace remora {

std::string XmlFile::textOf(const pugi::xml_node& node, const char* attribute) const {
  const pugi::xml_attribute found = node.attribute(attribute);
  if (!found) placeOf(node).refuse(format("a <%s> has no %s", node.name(), attribute));
  return found.value();
}

double XmlFile::realOf(const pugi::xml_node& node, const char* attribute) const {
  const std::string value = textOf(node, attribute);
  const auto number = toNumber<double>(value);
  if (!number) placeOf(node).refuse(std::string(attribute) + '=' + shown(value) + " is no number");
  return *number;
}

ImageSize XmlFile::sizeOf(const pugi::xml_node& node) const {
  if (!node.attribute("width") || !node.attribute("height")) return {};
  return {realOf(node, "width"), realOf(node, "height")};
}

}  // namespace remora
