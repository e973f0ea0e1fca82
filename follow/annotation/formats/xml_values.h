// Attributes in XML, with messages for what is not there or of another kind.
#pragma once

#include <pugixml.hpp>
#include <string>

#include "follow/annotation/formats/collector.h"
#include "follow/annotation/formats/place.h"

namespace remora {

// `text` is that of the file, which the nodes are from.
struct XmlFile {
  const std::string& file;
  const std::string& text;

  Place placeOf(const pugi::xml_node& node) const {
    return {file, "line", static_cast<long>(node.offset_debug()), &text};
  }
  std::string textOf(const pugi::xml_node& node, const char* attribute) const;
  double realOf(const pugi::xml_node& node, const char* attribute) const;
  // Attributes width and height; 0 where they are not there.
  ImageSize sizeOf(const pugi::xml_node& node) const;
};

}  // namespace remora
