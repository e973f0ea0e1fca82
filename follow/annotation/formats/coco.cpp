// COCO: images, annotations with triples x, y, v for each key point (v 0: not seen, 1: not visible,
// but known, 2: visible), and categories that name the key points. (0, 0) is the corner of the
// picture. An image of ours carries its frame number, too, under frame_id.

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "follow/annotation/formats/cells.h"
#include "follow/annotation/formats/formats_inside.h"
#include "follow/annotation/formats/json_values.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

using Json = nlohmann::json;

// Identities are numbers, in some files texts.
std::string identity(const Json& object, const char* key, const Place& place) {
  const Json& id = member(object, key, place);
  if (!id.is_number_integer() && !id.is_string()) {
    place.refuse(std::string("its \"") + key + "\" is no identity");
  }
  return id.is_string() ? id.get<std::string>() : id.dump();
}

class Reader {
 public:
  Reader(const std::string& file, const Json& json, Collector& into)
      : file_(file), json_(json), into_(into) {}

  void read() {
    forEach("images", "image", [this](const Json& image, const Place& at) { addImage(image, at); });
    forEach("categories", "category",
            [this](const Json& category, const Place& at) { addCategory(category, at); });
    forEach("annotations", "annotation",
            [this](const Json& annotation, const Place& at) { readAnnotation(annotation, at); });
  }

 private:
  template <class Action>
  void forEach(const char* key, const char* unit, const Action& action) {
    long number = 0;
    const Place whole{file_, "line", 1};
    for (const Json& entry : listOf(json_, key, whole)) action(entry, Place{file_, unit, number++});
  }

  void addImage(const Json& image, const Place& place) {
    FrameKey key;
    key.file = textOf(image, "file_name", place);
    key.numbered_by = key.file;
    key.size = {sizeOf(image, "width", place), sizeOf(image, "height", place)};
    if (const auto number = image.find("frame_id"); number != image.end()) {
      key.number = toNumber<int>(number->is_number_integer() ? number->dump() : "");
      if (!key.number) place.refuse("its \"frame_id\" is no number");
    }
    if (images_.emplace(identity(image, "id", place), std::move(key)).second) return;
    place.refuse("an earlier image has its \"id\"");
  }

  void addCategory(const Json& category, const Place& place) {
    std::vector<std::size_t>& points = categories_[identity(category, "id", place)];
    if (!category.contains("keypoints")) return;
    for (const Json& name : listOf(category, "keypoints", place)) {
      if (!name.is_string()) place.refuse("a name of a key point is no text");
      points.push_back(into_.point(name.get<std::string>(), place));
    }
  }

  void readAnnotation(const Json& annotation, const Place& place) {
    if (!annotation.is_object() || !annotation.contains("keypoints")) return;  // a box, an outline
    const auto image = images_.find(identity(annotation, "image_id", place));
    if (image == images_.end()) place.refuse("there is no image of its \"image_id\"");
    const auto category = categories_.find(identity(annotation, "category_id", place));
    if (category == categories_.end()) place.refuse("there is no category of its \"category_id\"");
    const Json& values = listOf(annotation, "keypoints", place);
    const std::vector<std::size_t>& points = category->second;
    if (values.size() != 3 * points.size()) {
      place.refuse(
          format("%zu values for %zu key points of its category: x, y and v of each are wanted",
                 values.size(), points.size()));
    }
    into_.newFrame(image->second, place);
    for (std::size_t p = 0; p < points.size(); ++p) {
      into_.set(points[p], positionOf(values, 3 * p, place), place);
    }
  }

  static Point positionOf(const Json& values, std::size_t first, const Place& place) {
    const double visible = realOf(values[first + 2], place);
    if (visible == 0.0) return unseen();
    if (visible != 1.0 && visible != 2.0) {
      place.refuse(format("the visibility %g is none of 0, 1 and 2", visible));
    }
    return Point{realOf(values[first], place), realOf(values[first + 1], place)} - kCorner;
  }

  const std::string& file_;
  const Json& json_;
  Collector& into_;
  std::map<std::string, FrameKey> images_;
  std::map<std::string, std::vector<std::size_t>> categories_;
};

// As many decimals as tables have.
double rounded(double value) { return std::round(value * 1e6) / 1e6; }

// Many readers want a name; frames without get that of our own sequences.
Json imageOf(const Positions::Frame& frame, std::size_t id) {
  const std::string file = frame.file.empty() ? format("%05d.png", frame.number) : frame.file;
  return {{"id", id}, {"file_name", file}, {"frame_id", frame.number}};
}

Json annotationOf(const Positions::Frame& frame, std::size_t id) {
  Json values = Json::array();
  int seen = 0;
  Point low = {0.0, 0.0};
  Point high = {0.0, 0.0};
  for (const TrackedPoint& point : frame.points) {
    if (!isSeen(point) || point.status == Status::kLost) {
      for (int i = 0; i < 3; ++i) values.push_back(0);
      continue;
    }
    const Point place = Point{point.x, point.y} + kCorner;
    low = seen == 0 ? place : Point{std::min(low.x, place.x), std::min(low.y, place.y)};
    high = seen == 0 ? place : Point{std::max(high.x, place.x), std::max(high.y, place.y)};
    ++seen;
    values.push_back(rounded(place.x));
    values.push_back(rounded(place.y));
    values.push_back(point.status == Status::kTracked ? 2 : 1);
  }
  const Point size = high - low;
  return {{"id", id},
          {"image_id", id},
          {"category_id", 1},
          {"keypoints", std::move(values)},
          {"num_keypoints", seen},
          {"bbox", {rounded(low.x), rounded(low.y), rounded(size.x), rounded(size.y)}},
          {"area", rounded(size.x * size.y)},
          {"iscrowd", 0}};
}

// A list with a line for each entry.
template <class Entry>
std::string listOf(const char* key, const Positions& positions, const Entry& entry) {
  std::string text = format("\"%s\": [", key);
  for (std::size_t i = 0; i < positions.frames.size(); ++i) {
    text += (i == 0 ? "\n" : ",\n") + entry(positions.frames[i], i + 1).dump();
  }
  return text + "\n]";
}

}  // namespace

void readCoco(const std::string& file, const Json& json, Collector& into) {
  Reader(file, json, into).read();
}

std::string formatCoco(const Positions& positions) {
  const Json category = {
      {"id", 1}, {"name", "shape"}, {"keypoints", positions.names}, {"skeleton", Json::array()}};
  try {
    return "{" + listOf("images", positions, imageOf) + ",\n" +
           listOf("annotations", positions, annotationOf) + ",\n\"categories\": [\n" +
           category.dump() + "\n]}\n";
  } catch (const Json::exception&) {
    throw Error("the name of an image is not UTF-8, and JSON holds nothing else");
  }
}

}  // namespace remora
