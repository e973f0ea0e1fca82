#include "follow/annotation/annotation_json.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "follow/annotation/formats/json_values.h"
#include "follow/annotation/point_names.h"
#include "follow/base/json_text.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostPoints = 10000;  // a typing error beyond

Json parse(const std::string& text, const std::string& file) {
  try {
    return parseJson<Json>(text);
  } catch (const Error& error) {
    throw Error(file + ", " + error.what());
  }
}

void requireVersion(const Json& json, const std::string& file) {
  const bool is_ours = json.is_object() && json.value("format", Json()) == kAnnotationFormat;
  if (!is_ours) {
    throw Error(file +
                " is JSON, but no annotation file of Remora: remora import reads those of other "
                "programs");
  }
  const Json version = json.value("version", Json());
  if (version == kAnnotationVersion) return;
  if (version.is_number_integer() && version > kAnnotationVersion) {
    throw Error(file + " is of version " + version.dump() +
                format(", this program reads version %d: use the program that made its page",
                       kAnnotationVersion));
  }
  throw Error(file + " says no version that is known");
}

bool isColour(const std::string& text) {
  const auto is_digit = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
  };
  return text.size() == 7 && text[0] == '#' && std::all_of(text.begin() + 1, text.end(), is_digit);
}

void readPoints(const Json& json, const std::string& file, Annotations& into) {
  const Json& points = listOf(json, "points", {file, "line", 1});
  if (points.empty() || points.size() > kMostPoints) throw Error(file + " names no points");
  long number = 0;
  for (const Json& point : points) {
    const Place place{file, "point", number++};
    into.names.push_back(textOf(point, "name", place));
    if (!isPointName(into.names.back())) place.refuse("its name holds a comma, quote or line end");
    into.colours.push_back(point.contains("colour") ? textOf(point, "colour", place) : "#e8b339");
    if (!isColour(into.colours.back())) place.refuse("its colour is not #rrggbb");
  }
}

std::size_t pointNamed(const Json& name, const Annotations& among, const Place& place) {
  if (!name.is_string()) place.refuse("it does not join names of points");
  const auto found = std::find(among.names.begin(), among.names.end(), name.get<std::string>());
  if (found == among.names.end()) place.refuse("there is no point " + shown(name));
  return static_cast<std::size_t>(found - among.names.begin());
}

void readLines(const Json& json, const std::string& file, Annotations& into) {
  if (!json.contains("lines")) return;
  long number = 0;
  for (const Json& line : listOf(json, "lines", {file, "line", 1})) {
    const Place place{file, "joining line", number++};
    if (!line.is_array() || line.size() != 2) place.refuse("it does not join two points");
    into.lines.emplace_back(pointNamed(line[0], into, place), pointNamed(line[1], into, place));
  }
}

// [x, y], [x, y, "hidden"], "missing" or null.
Point readPosition(const Json& position, bool& hidden, const Place& place) {
  if (position.is_null() || position == "missing") return unseen();
  const bool has_mark = position.is_array() && position.size() == 3;
  hidden = has_mark && position[2] == "hidden";
  if (!position.is_array() || position.size() < 2 || has_mark != hidden || position.size() > 3) {
    place.refuse("a position is not [x, y], [x, y, \"hidden\"], \"missing\" or null");
  }
  const Point point{realOf(position[0], place), realOf(position[1], place)};
  if (!isSeen(point)) place.refuse("a position is infinitely far away");
  return point;
}

int numberOf(const Json& frame, const Place& place) {
  const Json& number = member(frame, "frame", place);
  constexpr long kMost = 2147483647;
  if (!number.is_number_integer() || number > kMost || number < -kMost) {
    place.refuse("its number \"frame\" is no whole number");
  }
  return number.get<int>();
}

void readFrame(const Json& json, const Place& place, Annotations& into) {
  AnnotatedFrame frame;
  frame.number = numberOf(json, place);
  if (json.contains("file")) frame.file = textOf(json, "file", place);
  const Json& positions = listOf(json, "positions", place);
  if (positions.size() != into.names.size()) {
    place.refuse(
        format("it has %zu positions, there are %zu points", positions.size(), into.names.size()));
  }
  for (std::size_t p = 0; p < positions.size(); ++p) {
    bool hidden = false;
    frame.points.push_back(readPosition(positions[p], hidden, place));
    if (hidden) frame.hidden.push_back(p);
  }
  if (std::any_of(frame.points.begin(), frame.points.end(), isSeen)) {
    into.frames.push_back(std::move(frame));
  }
}

}  // namespace

Annotations parseAnnotationJson(const std::string& text, const std::string& file) {
  const Json json = parse(text, file);
  requireVersion(json, file);
  Annotations result;
  readPoints(json, file, result);
  readLines(json, file, result);
  long number = 0;
  for (const Json& frame : listOf(json, "frames", {file, "line", 1})) {
    readFrame(frame, {file, "frame", number++}, result);
  }
  if (result.frames.empty()) throw Error(file + " holds no positions");
  normalise(result, file);
  return result;
}

}  // namespace remora
