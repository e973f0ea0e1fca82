#include "follow/report/annotation_page.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "follow/annotation/annotation_json.h"
#include "follow/base/hash.h"
#include "follow/report/page_picture.h"
#include "follow/report/pages.h"

namespace remora {
namespace {

using Json = nlohmann::ordered_json;

Json numberOrNull(double value) { return std::isfinite(value) ? Json(value) : Json(); }
double rounded(double value) { return std::round(1000.0 * value) / 1000.0; }

Json positionsOf(const AnnotatedFrame& frame) {
  Json positions = Json::array();
  for (const Point& point : frame.points) {
    positions.push_back(isSeen(point) ? Json{rounded(point.x), rounded(point.y)} : Json());
  }
  for (const std::size_t p : frame.hidden) positions[p].push_back("hidden");
  return positions;
}

Json trackedOf(const TrackedShape& shape) {
  Json points = Json::array();
  for (const TrackedPoint& point : shape) {
    const bool has_place = std::isfinite(point.x) && std::isfinite(point.y);
    points.push_back(has_place ? Json{rounded(point.x), rounded(point.y),
                                      numberOrNull(point.confidence), nameOf(point.status)}
                               : Json());
  }
  return points;
}

}  // namespace

std::optional<double> meanConfidence(const TrackedShape& shape) {
  double total = 0.0;
  for (const TrackedPoint& point : shape) {
    if (std::isnan(point.confidence)) return std::nullopt;
    total += point.status == Status::kLost ? 0.0 : point.confidence;
  }
  if (shape.empty()) return std::nullopt;
  return total / static_cast<double>(shape.size());
}

AnnotationPage::AnnotationPage(std::string title, const Annotations& points)
    : title_(std::move(title)) {
  Json list = Json::array();
  for (std::size_t p = 0; p < points.names.size(); ++p) {
    list.push_back({{"name", points.names[p]}});
    if (!points.colours.empty()) list.back()["colour"] = points.colours[p];
  }
  Json lines = Json::array();
  for (const auto& [from, to] : points.lines) lines.push_back({from, to});
  points_ = "\"points\":" + scriptJson(list) + ",\"lines\":" + scriptJson(lines);
}

void AnnotationPage::add(const PageFrame& frame, const Picture& picture) {
  Json json = {{"frame", frame.number},
               {"file", frame.file},
               {"name", frame.label},
               {"width", picture.width},
               {"height", picture.height}};
  if (!frame.why.empty()) json["why"] = frame.why;
  if (frame.known != nullptr) json["positions"] = positionsOf(*frame.known);
  if (frame.tracked != nullptr) {
    json["tracked"] = trackedOf(*frame.tracked);
    if (const auto sure = meanConfidence(*frame.tracked)) json["confidence"] = rounded(*sure);
  }
  json["image"] = dataUri(picture);
  frame_data_ += (frames_ == 0 ? "" : ",\n") + scriptJson(json);
  ++frames_;
}

std::string AnnotationPage::text() const {
  // Work is kept in the browser under what it was made for.
  const std::string id = Hash().text(title_).text(points_).text(frame_data_).digits();
  const std::string stem = std::filesystem::path(title_).stem().string();
  const Json head = {{"version", kAnnotationVersion},
                     {"id", id},
                     {"title", title_},
                     {"save_as", (stem.empty() ? "annotations" : stem) + ".json"}};
  std::string data = scriptJson(head);
  data.pop_back();
  return fillPage(kAnnotatePage, data + ',' + points_ + ",\"frames\":[\n" + frame_data_ + "\n]}");
}

}  // namespace remora
