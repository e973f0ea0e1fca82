#include "follow/report/report.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "follow/annotation/recording.h"
#include "follow/error.h"
#include "follow/report/comparison.h"
#include "follow/report/evaluation_json.h"
#include "follow/report/page_picture.h"
#include "follow/report/pages.h"
#include "follow/report/timeline.h"

namespace remora {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostSteps = 600;
constexpr std::size_t kMostPathPoints = 400;
constexpr std::size_t kFramesShown = 6;
constexpr int kCurveSteps = 100;

// Three decimals are all that a page can show.
Json rounded(double value) {
  return std::isfinite(value) ? Json(std::round(1000.0 * value) / 1000.0) : Json();
}

Json rounded(const std::vector<double>& values) {
  Json list = Json::array();
  for (const double value : values) list.push_back(rounded(value));
  return list;
}

Json toJson(const Curve& curve) {
  Json points = Json::array();
  for (const std::vector<double>& point : curve.points) points.push_back(rounded(point));
  return {{"mean", rounded(curve.mean)},
          {"least", rounded(curve.least)},
          {"most", rounded(curve.most)},
          {"points", points}};
}

Json toJson(const Timeline& timeline) {
  Json steps = Json::array();
  for (const auto& [first, last] : timeline.steps) steps.push_back({first, last});
  return {{"steps", steps},
          {"motion", toJson(timeline.motion)},
          {"occluded", rounded(timeline.occluded)},
          {"lost", rounded(timeline.lost)},
          {"confidence", timeline.confidence ? toJson(*timeline.confidence) : Json()},
          {"error", timeline.error ? toJson(*timeline.error) : Json()}};
}

// The share of positions that are no farther off than 0 ... twice the limit, and the area under it
// up to the limit, 1 where no position is off at all.
Json cumulativeCurve(const std::vector<Judged>& positions, double lost_limit) {
  std::vector<double> errors;
  double area = 0.0;
  for (const Judged& position : positions) {
    errors.push_back(position.error);
    area += lost_limit > 0.0 ? std::max(0.0, 1.0 - position.error / lost_limit) : 0.0;
  }
  std::sort(errors.begin(), errors.end());
  const auto count = static_cast<double>(errors.size());
  Json curve = Json::array();
  for (int k = 0; k <= kCurveSteps; ++k) {
    const double distance = 2.0 * lost_limit * k / kCurveSteps;
    const auto within = std::upper_bound(errors.begin(), errors.end(), distance) - errors.begin();
    curve.push_back({rounded(distance), rounded(static_cast<double>(within) / count)});
  }
  return {{"curve", curve}, {"area", rounded(area / count)}};
}

// Some of the positions, judged by themselves.
Json groupOf(const std::string& name, const std::vector<Judged>& positions,
             const std::vector<std::string>& points, double lost_limit) {
  Json group = {{"name", name}};
  group.update(remora::toJson(evaluationOf(positions, points, lost_limit)));
  group.update(cumulativeCurve(positions, lost_limit));
  return group;
}

Json positionsOf(const TrackedShape& shape) {
  Json points = Json::array();
  for (const TrackedPoint& point : shape) {
    points.push_back(
        {rounded(point.x), rounded(point.y), nameOf(point.status), rounded(point.confidence)});
  }
  return points;
}

Json positionsOf(const Shape& shape) {
  Json points = Json::array();
  for (const Point& point : shape) points.push_back({rounded(point.x), rounded(point.y)});
  return points;
}

struct Scored {
  std::size_t index;  // of a frame in the tracks
  double score;       // the greater, the worse
};

// The worst, not all from one place.
std::vector<Scored> chooseWorst(std::vector<Scored> frames, std::size_t length) {
  const std::size_t apart = std::max<std::size_t>(length / 30, 1);
  std::stable_sort(frames.begin(), frames.end(),
                   [](const Scored& a, const Scored& b) { return a.score > b.score; });
  std::vector<Scored> chosen;
  for (const Scored& frame : frames) {
    const auto isNear = [&](const Scored& other) {
      return std::max(frame.index, other.index) - std::min(frame.index, other.index) < apart;
    };
    if (chosen.size() == kFramesShown) break;
    if (std::none_of(chosen.begin(), chosen.end(), isNear)) chosen.push_back(frame);
  }
  return chosen;
}

std::vector<Scored> meansOfFrames(const std::map<std::size_t, std::pair<double, int>>& frames) {
  std::vector<Scored> means;
  for (const auto& [index, sum] : frames) means.push_back({index, sum.first / sum.second});
  return means;
}

std::vector<Scored> byError(const std::vector<Judged>& positions) {
  std::map<std::size_t, std::pair<double, int>> frames;
  for (const Judged& position : positions) {
    frames[position.index].first += position.error;
    ++frames[position.index].second;
  }
  return meansOfFrames(frames);
}

std::vector<Scored> byDoubt(const Tracks& tracks) {
  std::map<std::size_t, std::pair<double, int>> frames;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    for (const TrackedPoint& point : tracks.shapes[i]) {
      if (std::isnan(point.confidence)) continue;
      frames[i].first += 1.0 - point.confidence;
      ++frames[i].second;
    }
  }
  return meansOfFrames(frames);
}

Json pathsOf(const Tracks& tracks) {
  const std::size_t stride =
      std::max<std::size_t>((tracks.shapes.size() + kMostPathPoints - 1) / kMostPathPoints, 1);
  Json paths = Json::array();
  for (std::size_t p = 0; p < tracks.names.size(); ++p) {
    Json path = Json::array();
    for (std::size_t i = 0; i < tracks.shapes.size(); i += stride) {
      const TrackedPoint& point = tracks.shapes[i][p];
      path.push_back({rounded(point.x), rounded(point.y)});
    }
    paths.push_back(std::move(path));
  }
  return paths;
}

std::size_t firstSeenFrame(const Tracks& tracks) {
  const auto isSeen = [](const TrackedShape& shape) {
    return std::any_of(shape.begin(), shape.end(),
                       [](const TrackedPoint& point) { return point.status != Status::kLost; });
  };
  const auto found = std::find_if(tracks.shapes.begin(), tracks.shapes.end(), isSeen);
  return found == tracks.shapes.end() ? 0 : static_cast<std::size_t>(found - tracks.shapes.begin());
}

}  // namespace

struct Report::Content {
  ReportMatter matter;
  std::vector<Judged> positions;
  std::vector<Scored> worst;
  std::map<int, Json> pictures;

  Json pictureOf(std::size_t index) const {
    const auto found = pictures.find(matter.tracks.frame_numbers[index]);
    return found == pictures.end() ? Json() : found->second;
  }

  Json worstFrame(const Scored& frame) const {
    const int number = matter.tracks.frame_numbers[frame.index];
    Json json = {{"frame", number},
                 {"score", rounded(frame.score)},
                 {"picture", pictureOf(frame.index)},
                 {"points", positionsOf(matter.tracks.shapes[frame.index])}};
    if (!matter.truth) return json;
    const Shape* const known = findFrame(matter.truth->annotations, "", number);
    if (known != nullptr) json["truth"] = positionsOf(*known);
    return json;
  }

  Json groups() const {
    Json groups = Json::array();
    const auto add = [&](const char* name, const auto& belongs) {
      std::vector<Judged> some;
      std::copy_if(positions.begin(), positions.end(), std::back_inserter(some), belongs);
      if (some.empty()) return;
      groups.push_back(groupOf(name, some, matter.tracks.names, matter.lost_limit));
    };
    add("all", [](const Judged&) { return true; });
    add("tracked", [](const Judged& position) { return !position.marked; });
    if (!matter.trained) return groups;
    const auto isTrained = [&](const Judged& position) {
      return isChosen(*matter.trained, matter.tracks.frame_numbers[position.index]);
    };
    add("training frames", isTrained);
    add("other frames", [&](const Judged& position) { return !isTrained(position); });
    return groups;
  }
};

Report::Report(ReportMatter matter) : content_(std::make_unique<Content>()) {
  Content& content = *content_;
  content.matter = std::move(matter);
  const Tracks& tracks = content.matter.tracks;
  if (tracks.shapes.empty()) throw Error("there are no tracks to report on");
  if (content.matter.truth) {
    Truth& truth = *content.matter.truth;
    takeNames(tracks.names, "the truth", truth.annotations);
    content.positions = compare(tracks, truth, content.matter.lost_limit, content.matter.judged);
  }
  content.worst =
      chooseWorst(content.positions.empty() ? byDoubt(tracks) : byError(content.positions),
                  tracks.shapes.size());
}

Report::~Report() = default;
Report::Report(Report&&) noexcept = default;
Report& Report::operator=(Report&&) noexcept = default;

std::set<int> Report::wantedFrames() const {
  const Tracks& tracks = content_->matter.tracks;
  std::set<int> frames = {tracks.frame_numbers[firstSeenFrame(tracks)]};
  for (const Scored& frame : content_->worst) frames.insert(tracks.frame_numbers[frame.index]);
  return frames;
}

void Report::add(int frame, const Picture& picture) {
  content_->pictures[frame] = {
      {"width", picture.width}, {"height", picture.height}, {"image", dataUri(picture)}};
}

std::string Report::text() const {
  const ReportMatter& matter = content_->matter;
  const Tracks& tracks = matter.tracks;
  std::size_t lost_in = 0;
  Json counts = {{"tracked", 0}, {"occluded", 0}, {"lost", 0}};
  for (const TrackedShape& shape : tracks.shapes) {
    bool any_lost = false;
    for (const TrackedPoint& point : shape) {
      counts[nameOf(point.status)] = counts[nameOf(point.status)].get<std::size_t>() + 1;
      any_lost = any_lost || point.status == Status::kLost;
    }
    lost_in += any_lost ? 1 : 0;
  }
  Json worst = Json::array();
  for (const Scored& frame : content_->worst) worst.push_back(content_->worstFrame(frame));
  const std::size_t first = firstSeenFrame(tracks);
  const Json data = {{"title", matter.title},
                     {"version", REMORA_VERSION},
                     {"points", tracks.names},
                     {"frames", tracks.shapes.size()},
                     {"first", tracks.frame_numbers.front()},
                     {"last", tracks.frame_numbers.back()},
                     {"counts", counts},
                     {"frames_with_lost", lost_in},
                     {"lost_above", rounded(matter.lost_limit)},
                     {"groups", content_->groups()},
                     {"timeline", toJson(timelineOf(tracks, content_->positions, kMostSteps))},
                     {"worst", worst},
                     {"paths",
                      {{"frame", tracks.frame_numbers[first]},
                       {"picture", content_->pictureOf(first)},
                       {"start", positionsOf(tracks.shapes[first])},
                       {"lines", pathsOf(tracks)}}}};
  return fillPage(kReportPage, scriptJson(data));
}

}  // namespace remora
