// CVAT XML 1.1, of images or of tracks. A <points> with one position is a point of its label's
// name; one with several positions is the points LABEL_0, LABEL_1 ... In a skeleton every <points>
// has a label of its own. (0, 0) is the corner of the picture.

#include <map>

#include "follow/annotation/formats/formats_inside.h"
#include "follow/annotation/formats/xml_values.h"
#include "follow/base/text.h"

namespace remora {
namespace {

class Reader {
 public:
  Reader(const std::string& file, const std::string& text, Collector& into)
      : xml_{file, text}, into_(into) {}

  void read(const pugi::xml_node& root) {
    for (const pugi::xml_node& image : root.children("image")) readImage(image);
    const std::string recording = sourceOf(root);
    const ImageSize size = originalSizeOf(root);
    for (const pugi::xml_node& track : root.children("track")) readTrack(track, recording, size);
  }

 private:
  static std::string sourceOf(const pugi::xml_node& root) {
    const pugi::xml_node meta = root.child("meta");
    const std::string source = meta.child("task").child_value("source");
    return source.empty() ? meta.child_value("source") : source;
  }

  ImageSize originalSizeOf(const pugi::xml_node& root) const {
    const pugi::xml_node meta = root.child("meta");
    pugi::xml_node size = meta.child("task").child("original_size");
    if (!size) size = meta.child("original_size");
    const auto width = toNumber<double>(size.child_value("width"));
    const auto height = toNumber<double>(size.child_value("height"));
    return {width.value_or(0.0), height.value_or(0.0)};
  }

  void readImage(const pugi::xml_node& image) {
    if (!image.child("points") && !image.child("skeleton")) return;  // not annotated
    const std::string name = xml_.textOf(image, "name");
    into_.newFrame({name, {}, name, xml_.sizeOf(image)}, xml_.placeOf(image));
    for (const pugi::xml_node& points : image.children("points")) {
      addPoints(points, xml_.textOf(points, "label"));
    }
    for (const pugi::xml_node& skeleton : image.children("skeleton")) addSkeleton(skeleton);
  }

  void readTrack(const pugi::xml_node& track, const std::string& recording, const ImageSize& size) {
    for (const pugi::xml_node& child : track.children()) {
      const std::string kind = child.name();
      if (kind != "points" && kind != "skeleton") continue;
      const Place place = xml_.placeOf(child);
      const std::string frame = xml_.textOf(child, "frame");
      const auto number = toNumber<int>(frame);
      if (!number) place.refuse("the frame " + shown(frame) + " is no number");
      into_.enterFrame({recording, number, "", size}, place);
      if (kind == "points") {
        addPoints(child, xml_.textOf(track, "label"));
      } else {
        addSkeleton(child);
      }
    }
  }

  void addSkeleton(const pugi::xml_node& skeleton) {
    for (const pugi::xml_node& points : skeleton.children("points")) {
      addPoints(points, xml_.textOf(points, "label"));
    }
  }

  void addPoints(const pugi::xml_node& node, const std::string& label) {
    const Place place = xml_.placeOf(node);
    const bool is_outside = node.attribute("outside").as_int() != 0;
    const std::vector<std::string> places = split(xml_.textOf(node, "points"), ';');
    const std::size_t count = counts_.emplace(label, places.size()).first->second;
    if (count != places.size()) {
      place.refuse(format("%zu positions of label %s, which has had %zu before", places.size(),
                          shown(label).c_str(), count));
    }
    for (std::size_t i = 0; i < count; ++i) {
      const std::string name = count == 1 ? label : label + '_' + std::to_string(i);
      const std::size_t point = into_.point(name, place);
      const Point position = positionOf(places[i], place);
      // A track that has ended is outside in its last frame, where another may go on.
      is_outside ? into_.mention(point, place) : into_.set(point, position - kCorner, place);
    }
  }

  static Point positionOf(const std::string& text, const Place& place) {
    const std::vector<std::string> parts = split(text, ',');
    const auto x = toNumber<double>(parts[0]);
    const auto y = parts.size() == 2 ? toNumber<double>(parts[1]) : std::nullopt;
    if (!x || !y) place.refuse(shown(text) + " is no position");
    return {*x, *y};
  }

  XmlFile xml_;
  Collector& into_;
  std::map<std::string, std::size_t> counts_;  // of the positions of a label
};

}  // namespace

void readCvat(const std::string& file, const std::string& text, const pugi::xml_node& root,
              Collector& into) {
  Reader(file, text, into).read(root);
}

}  // namespace remora
