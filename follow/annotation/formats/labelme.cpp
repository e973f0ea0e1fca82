// labelme: a file for each image, with shapes; those of the type point have one position, in pixels
// of a canvas on which (0, 0) is the corner of the picture. Other shapes are skipped.

#include "follow/annotation/formats/formats_inside.h"
#include "follow/annotation/formats/json_values.h"
#include "follow/base/text.h"

namespace remora {
namespace {

using Json = nlohmann::json;

std::string typeOf(const Json& shape, const Place& place) {
  const auto type = shape.find("shape_type");
  if (type == shape.end() || type->is_null()) return "polygon";  // as the program reads it
  if (!type->is_string()) place.refuse("its \"shape_type\" is no text");
  return type->get<std::string>();
}

Point positionOf(const Json& shape, const Place& place) {
  const Json& points = listOf(shape, "points", place);
  if (points.size() != 1 || !points[0].is_array() || points[0].size() != 2) {
    place.refuse("a point has not one position of x and y");
  }
  return Point{realOf(points[0][0], place), realOf(points[0][1], place)} - kCorner;
}

}  // namespace

void readLabelme(const std::string& file, const Json& json, Collector& into) {
  const Place whole{file, "line", 1};
  FrameKey key;
  if (const auto path = json.find("imagePath"); path != json.end() && !path->is_null()) {
    key.file = textOf(json, "imagePath", whole);
  }
  key.numbered_by = key.file.empty() ? file : key.file;
  key.size = {sizeOf(json, "imageWidth", whole), sizeOf(json, "imageHeight", whole)};
  into.newFrame(key, whole);
  long number = 0;
  for (const Json& shape : listOf(json, "shapes", whole)) {
    const Place place{file, "shape", number++};
    const std::string label = textOf(shape, "label", place);
    if (typeOf(shape, place) != "point") continue;
    into.set(into.point(label, place), positionOf(shape, place), place);
  }
}

}  // namespace remora
