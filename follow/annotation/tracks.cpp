#include "follow/annotation/tracks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "follow/annotation/annotation_table.h"
#include "follow/annotation/formats/place.h"
#include "follow/annotation/point_names.h"
#include "follow/annotation/recording.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr char kPositionHeader[] = "frame,point,name,x,y";
constexpr char kHeader[] = "frame,point,name,x,y,confidence,status";
constexpr char kTimedHeader[] = "frame,point,name,x,y,confidence,status,time";
constexpr std::size_t kPositionColumns = 5;
constexpr std::size_t kColumns = 7;
constexpr std::size_t kTimedColumns = 8;
constexpr std::array kStatuses = {Status::kTracked, Status::kOccluded, Status::kLost};
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

// Appends what printf would, in a fraction of the time: tables have millions of cells.
void appendCell(std::string& row, double value, int decimals) {
  constexpr std::size_t kLongest = 400;
  row += ',';
  if (std::isnan(value)) return;
  char digits[kLongest];
  row.append(
      digits,
      std::to_chars(digits, digits + kLongest, value, std::chars_format::fixed, decimals).ptr);
}

std::optional<double> readCell(const std::string& cell) {
  return cell.empty() ? kUnknown : toNumber<double>(cell);
}

std::optional<Status> readStatus(const std::string& cell) {
  for (const Status status : kStatuses) {
    if (cell == nameOf(status)) return status;
  }
  return std::nullopt;
}

// The position, confidence and status of a line, or nothing.
std::optional<TrackedPoint> readPoint(const std::vector<std::string>& cells) {
  const auto x = readCell(cells[3]);
  const auto y = readCell(cells[4]);
  if (!x || !y) return std::nullopt;
  if (cells.size() == kPositionColumns) return TrackedPoint{*x, *y, kUnknown, Status::kTracked};
  const auto confidence = readCell(cells[5]);
  const auto status = readStatus(cells[6]);
  if (!confidence || !status || *confidence < 0.0 || *confidence > 1.0) return std::nullopt;
  return TrackedPoint{*x, *y, *confidence, *status};
}

// Adds one line of a table; false when it is malformed or out of order.
bool addRow(const std::vector<std::string>& cells, std::size_t columns, Tracks& tracks) {
  if (cells.size() != columns) return false;
  const auto frame = toNumber<int>(cells[0]);
  const auto index = toNumber<int>(cells[1]);
  const auto point = readPoint(cells);
  if (!frame || !index || !point) return false;
  const auto time = columns == kTimedColumns ? readCell(cells[7]) : kUnknown;
  if (!time) return false;
  if (tracks.frame_numbers.empty() || tracks.frame_numbers.back() != *frame) {
    if (!tracks.frame_numbers.empty() && tracks.frame_numbers.back() > *frame) return false;
    if (!tracks.shapes.empty() && tracks.shapes.back().size() != tracks.names.size()) return false;
    tracks.frame_numbers.push_back(*frame);
    tracks.shapes.emplace_back();
    if (columns == kTimedColumns) tracks.times.push_back(*time);
  }
  if (tracks.shapes.size() == 1) tracks.names.push_back(cells[2]);
  const std::size_t next = tracks.shapes.back().size();
  if (*index < 0 || static_cast<std::size_t>(*index) != next || next >= tracks.names.size() ||
      cells[2] != tracks.names[next]) {
    return false;
  }
  tracks.shapes.back().push_back(*point);
  return true;
}

// A table as it is written here, which takes a tenth of the time of others; nothing for those.
std::optional<Tracks> parseOwnTable(const std::string& content) {
  Tracks tracks;
  std::istringstream in(content);
  const std::string header = nextLine(in).value_or("");
  const std::size_t columns = header == kTimedHeader ? kTimedColumns
                              : header == kHeader    ? kColumns
                                                     : kPositionColumns;
  if (columns == kPositionColumns && header != kPositionHeader) return std::nullopt;
  for (auto line = nextLine(in); line; line = nextLine(in)) {
    if (!addRow(split(*line, ','), columns, tracks)) return std::nullopt;
  }
  const bool ends = !tracks.shapes.empty() && tracks.shapes.back().size() == tracks.names.size();
  std::set<std::string> names(tracks.names.begin(), tracks.names.end());
  const bool named =
      names.size() == tracks.names.size() && std::all_of(names.begin(), names.end(), isPointName);
  if (!ends || !named) return std::nullopt;
  return tracks;
}

Tracks tracksOf(const Annotations& annotations) {
  Tracks tracks;
  tracks.names = annotations.names;
  for (const AnnotatedFrame& frame : annotations.frames) {
    tracks.frame_numbers.push_back(frame.number);
    tracks.shapes.push_back(asKnown(frame.points));
    for (TrackedPoint& point : tracks.shapes.back()) {
      const bool is_seen = isSeen(Point{point.x, point.y});
      point.confidence = kUnknown;
      point.status = is_seen ? Status::kTracked : Status::kLost;
    }
  }
  return tracks;
}

void addCells(const TrackCells& cells, const std::string& file, TrackedPoint& point, double* time) {
  const auto refuse = [&](const char* what, const std::string& cell) {
    throw Error(format("%s, line %ld: the %s ", file.c_str(), cells.line, what) + shown(cell) +
                " is none");
  };
  const auto confidence = readCell(cells.confidence);
  if (!confidence || *confidence < 0.0 || *confidence > 1.0) {
    refuse("confidence", cells.confidence);
  }
  point.confidence = *confidence;
  if (!cells.status.empty()) {
    const auto status = readStatus(cells.status);
    if (!status) refuse("status", cells.status);
    point.status = *status;
  }
  if (cells.time.empty()) return;
  const auto seconds = readCell(cells.time);
  if (!seconds) refuse("time", cells.time);
  *time = *seconds;
}

// Columns, frames and points in any order, and not all need to be there.
Tracks parseAnyTable(const std::string& content, const std::string& file) {
  std::vector<TrackCells> cells;
  Annotations annotations = parseTable(content, file, cells);
  for (AnnotatedFrame& frame : annotations.frames) frame.file.clear();
  normalise(annotations, file);
  Tracks tracks = tracksOf(annotations);
  std::map<int, std::size_t> places;
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) places[tracks.frame_numbers[i]] = i;
  std::vector<double> times(tracks.shapes.size(), kUnknown);
  for (const TrackCells& line : cells) {
    const std::size_t i = places[line.frame];
    addCells(line, file, tracks.shapes[i][line.point], &times[i]);
  }
  const bool has_times =
      std::any_of(times.begin(), times.end(), [](double time) { return !std::isnan(time); });
  if (has_times) tracks.times = std::move(times);
  return tracks;
}

}  // namespace

const char* nameOf(Status status) {
  switch (status) {
    case Status::kTracked:
      return "tracked";
    case Status::kOccluded:
      return "occluded";
    case Status::kLost:
      break;
  }
  return "lost";
}

TrackedShape asKnown(const Shape& shape) {
  TrackedShape known;
  for (const Point& p : shape) known.push_back({p.x, p.y, 1.0, Status::kTracked});
  return known;
}

std::string formatHeader(const Tracks& tracks) {
  return std::string(tracks.times.empty() ? kHeader : kTimedHeader) + "\n";
}

std::string formatRows(const Tracks& tracks, std::size_t index) {
  std::string text;
  const TrackedShape& shape = tracks.shapes[index];
  const std::string frame = std::to_string(tracks.frame_numbers[index]) + ',';
  for (std::size_t p = 0; p < shape.size(); ++p) {
    text += frame;
    text += std::to_string(p);
    text += ',';
    text += tracks.names[p];
    appendCell(text, shape[p].x, 4);
    appendCell(text, shape[p].y, 4);
    appendCell(text, shape[p].confidence, 3);
    text += ',';
    text += nameOf(shape[p].status);
    if (!tracks.times.empty()) appendCell(text, tracks.times[index], 6);
    text += '\n';
  }
  return text;
}

std::string formatTable(const Tracks& tracks) {
  std::string text = formatHeader(tracks);
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) text += formatRows(tracks, i);
  return text;
}

Tracks readTracks(const std::string& file, int first_frame) {
  const std::string content = readText(file);
  const std::size_t start = content.find_first_not_of(" \t\r\n");
  const char first = start == std::string::npos ? '0' : content[start];
  if (first == '{') return tracksOf(readOneRecording(file, first_frame));
  if (std::string("0123456789+-").find(first) == std::string::npos) {
    auto own = parseOwnTable(content);
    return own ? std::move(*own) : parseAnyTable(content, file);
  }
  const std::vector<Shape> shapes = readShapes(file);
  requireFrameNumbers(first_frame, shapes.size(), file);
  Tracks tracks;
  tracks.names = indexNames(shapes[0].size());
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    tracks.frame_numbers.push_back(first_frame + static_cast<int>(i));
    tracks.shapes.push_back(asKnown(shapes[i]));
    for (TrackedPoint& point : tracks.shapes.back()) point.confidence = kUnknown;
  }
  return tracks;
}

std::string summaryOf(const Tracks& tracks) { return TracksSummary(tracks).text(); }

TracksSummary::TracksSummary(const Tracks& tracks) {
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    add(tracks.names, tracks.frame_numbers[i], tracks.shapes[i]);
  }
}

void TracksSummary::add(const std::vector<std::string>& names, int frame_number,
                        const TrackedShape& shape) {
  ++frames_;
  std::array<bool, 3> is_there{};
  for (std::size_t p = 0; p < shape.size(); ++p) {
    knows_ = knows_ && !std::isnan(shape[p].confidence);
    const auto status = static_cast<std::size_t>(shape[p].status);
    Count& count = counts_[status];
    if (count.positions++ == 0) {
      count.first = format("first in frame %d (%s)", frame_number, names[p].c_str());
    }
    is_there[status] = true;
  }
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i].frames += is_there[i] ? 1 : 0;
}

std::string TracksSummary::describe(Status status) const {
  const Count& count = counts_[static_cast<std::size_t>(status)];
  if (count.positions == 0) return format("none %s", nameOf(status));
  return format("%zu %s in %zu frame%s, %s", count.positions, nameOf(status), count.frames,
                count.frames == 1 ? "" : "s", count.first.c_str());
}

std::string TracksSummary::text() const {
  std::size_t positions = 0;
  for (const Count& count : counts_) positions += count.positions;
  const std::size_t tracked = counts_[static_cast<std::size_t>(Status::kTracked)].positions;
  const std::string text = format("%zu of %zu positions in %zu frame%s are tracked", tracked,
                                  positions, frames_, frames_ == 1 ? "" : "s");
  if (!knows_) return text + ", by a plain model, which does not notice what it loses";
  if (tracked == positions) return text + ", none is occluded or lost";
  return text + "; " + describe(Status::kOccluded) + "; " + describe(Status::kLost);
}

std::vector<std::string> indexNames(std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) names.push_back(std::to_string(i));
  return names;
}

}  // namespace remora
