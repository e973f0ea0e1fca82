// imglab: XML of images with a box around each shape, in which parts are its points. Boxes that are
// marked as ignored are left out.

#include "follow/annotation/formats/formats_inside.h"
#include "follow/annotation/formats/xml_values.h"
#include "follow/base/text.h"

namespace remora {
namespace {

bool isIgnored(const pugi::xml_node& box) { return box.attribute("ignore").as_int() != 0; }

// The one box of an image; nothing where it has none.
pugi::xml_node boxOf(const XmlFile& xml, const pugi::xml_node& image) {
  pugi::xml_node only;
  for (const pugi::xml_node& box : image.children("box")) {
    if (isIgnored(box)) continue;
    if (only) xml.placeOf(box).refuse("a second box in an image: exactly one is wanted");
    only = box;
  }
  return only;
}

}  // namespace

void readImglab(const std::string& file, const std::string& text, const pugi::xml_node& root,
                Collector& into) {
  const XmlFile xml{file, text};
  for (const pugi::xml_node& image : root.child("images").children("image")) {
    const pugi::xml_node box = boxOf(xml, image);
    if (!box) continue;
    const std::string name = xml.textOf(image, "file");
    into.newFrame({name, {}, name, xml.sizeOf(image)}, xml.placeOf(image));
    for (const pugi::xml_node& part : box.children("part")) {
      const Place place = xml.placeOf(part);
      const std::size_t point = into.point(xml.textOf(part, "name"), place);
      into.set(point, {xml.realOf(part, "x"), xml.realOf(part, "y")}, place);
    }
  }
}

}  // namespace remora
