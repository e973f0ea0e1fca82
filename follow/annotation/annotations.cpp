#include "follow/annotation/annotations.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "follow/annotation/annotation_json.h"
#include "follow/annotation/annotation_table.h"
#include "follow/annotation/point_names.h"
#include "follow/annotation/shape_files.h"
#include "follow/base/csv.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr std::size_t kMostPoints = 10000;  // a typing error beyond
// A small table can name many points and many frames: what both span is bounded.
constexpr std::size_t kMostPositions = 10'000'000;

std::string lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

// Which cell of a row is what.
struct Columns {
  std::optional<std::size_t> frame, point, name, x, y, file, confidence, status, time;

  std::string twice;  // a title that two of them have

  explicit Columns(const CsvRow& header) {
    const std::pair<const char*, std::optional<std::size_t>*> known[] = {
        {"frame", &frame},  {"point", &point}, {"name", &name}, {"x", &x},
        {"y", &y},          {"file", &file},   {"time", &time}, {"confidence", &confidence},
        {"status", &status}};
    for (std::size_t i = 0; i < header.cells.size(); ++i) {
      const std::string title = lower(trimmed(header.cells[i]));
      for (const auto& [wanted, column] : known) {
        if (title != wanted) continue;
        if (*column) twice = title;
        *column = i;
      }
    }
  }
  bool complete() const { return frame && (point || name) && x && y; }
};

// One line of a table.
struct Entry {
  long line = 0;
  std::string file;
  int frame = 0;
  std::size_t point = 0;
  Point place;
};

class TableReader {
 public:
  TableReader(const std::string& file, const std::string& text)
      : file_(file), rows_(parseCsv(text, file)), columns_(rows_.empty() ? CsvRow{} : rows_[0]) {}

  // Notes what is of tracks alone, too, where that is wanted.
  Annotations read(std::vector<TrackCells>* cells = nullptr) {
    if (!columns_.complete()) {
      throw Error(file_ +
                  ", line 1: a table has the columns frame, point or name, x and y; remora import "
                  "reads files of other programs");
    }
    if (!columns_.twice.empty()) fail(1, "two columns are called " + columns_.twice);
    std::vector<Entry> entries;
    for (std::size_t i = 1; i < rows_.size(); ++i) {
      entries.push_back(entryOf(rows_[i]));
      if (cells != nullptr) cells->push_back(trackCellsOf(rows_[i], entries.back()));
    }
    if (entries.empty()) throw Error(file_ + " holds no positions");
    return assemble(entries);
  }

 private:
  [[noreturn]] void fail(long line, const std::string& why) const {
    std::string text = why;  // cells may hold line ends
    for (char& c : text) c = c >= 0 && c < ' ' ? '?' : c;
    throw Error(format("%s, line %ld: ", file_.c_str(), line) + text);
  }

  std::string cell(const CsvRow& row, const std::optional<std::size_t>& column) const {
    if (!column || *column >= row.cells.size()) return "";
    return trimmed(row.cells[*column]);
  }

  Entry entryOf(const CsvRow& row) {
    if (row.cells.size() > rows_[0].cells.size()) {
      fail(row.line,
           format("%zu cells under %zu columns", row.cells.size(), rows_[0].cells.size()));
    }
    Entry entry;
    entry.line = row.line;
    entry.file = cell(row, columns_.file);
    const auto frame = toNumber<int>(cell(row, columns_.frame));
    if (!frame)
      fail(row.line, "the frame \"" + cell(row, columns_.frame) + "\" is no whole number");
    entry.frame = *frame;
    entry.point = pointOf(row);
    entry.place = {coordinate(row, columns_.x), coordinate(row, columns_.y)};
    const bool is_unseen = std::isnan(entry.place.x) && std::isnan(entry.place.y);
    if (is_unseen || isSeen(entry.place)) return entry;
    fail(row.line, "the position \"" + cell(row, columns_.x) + "\", \"" + cell(row, columns_.y) +
                       "\" is none: a point has both, or neither where it is not seen");
  }

  TrackCells trackCellsOf(const CsvRow& row, const Entry& entry) const {
    return {entry.line,
            entry.frame,
            entry.point,
            cell(row, columns_.confidence),
            cell(row, columns_.status),
            cell(row, columns_.time)};
  }

  double coordinate(const CsvRow& row, const std::optional<std::size_t>& column) const {
    const std::string text = cell(row, column);
    if (text.empty()) return unseen().x;
    const auto value = toNumber<double>(text);
    if (!value) {
      const bool has_comma = text.find(',') != std::string::npos;
      fail(row.line, "the position \"" + text + "\" is no number" +
                         (has_comma ? "; numbers have a decimal point here" : ""));
    }
    return *value;
  }

  std::size_t pointOf(const CsvRow& row) {
    const std::string name = cell(row, columns_.name);
    const std::string index = cell(row, columns_.point);
    if (!name.empty() && !isPointName(name)) {
      fail(row.line, "a name of a point is text without comma, quote and line end");
    }
    if (!columns_.point) return numberOf(name, row.line);
    const auto number = toNumber<int>(index);
    if (!number || *number < 0 || static_cast<std::size_t>(*number) >= kMostPoints) {
      fail(row.line, "the point \"" + index + "\" is no index of a point");
    }
    const auto point = static_cast<std::size_t>(*number);
    if (name.empty()) {
      named_.emplace(point, "");
      return point;
    }
    std::string& known = named_[point];
    if (!known.empty() && known != name) {
      fail(row.line, format("point %zu is called %s and %s", point, known.c_str(), name.c_str()));
    }
    known = name;
    return point;
  }

  // Points without indices count in the order of their first lines.
  std::size_t numberOf(const std::string& name, long line) {
    if (name.empty()) fail(line, "a point has neither index nor name");
    const auto [place, is_new] = numbers_.emplace(name, numbers_.size());
    if (is_new) named_[place->second] = name;
    return place->second;
  }

  void requireRoom(const std::vector<Entry>& entries, std::size_t points) const {
    std::set<std::pair<std::string, int>> frames;
    for (const Entry& entry : entries) frames.emplace(entry.file, entry.frame);
    if (frames.size() <= kMostPositions / points) return;
    throw Error(format("%s: %zu frames of %zu points are more than 10 million positions: split it",
                       file_.c_str(), frames.size(), points));
  }

  Annotations assemble(const std::vector<Entry>& entries) const {
    Annotations result;
    const std::size_t points = named_.rbegin()->first + 1;
    for (std::size_t p = 0; p < points; ++p) {
      const auto named = named_.find(p);
      const bool has_name = named != named_.end() && !named->second.empty();
      result.names.push_back(has_name ? named->second : std::to_string(p));
    }
    requireRoom(entries, points);
    std::map<std::pair<std::string, int>, std::vector<long>> lines;  // of each point, 0: none yet
    std::map<std::pair<std::string, int>, Shape> shapes;
    for (const Entry& entry : entries) {
      const std::pair key{entry.file, entry.frame};
      std::vector<long>& seen = lines[key];
      Shape& shape = shapes[key];
      seen.resize(points);
      shape.resize(points, unseen());
      if (seen[entry.point] != 0) {
        fail(entry.line, format("point %s of frame %d is on line %ld already",
                                result.names[entry.point].c_str(), entry.frame, seen[entry.point]));
      }
      seen[entry.point] = entry.line;
      shape[entry.point] = entry.place;
    }
    for (auto& [key, shape] : shapes) {
      result.frames.push_back({key.second, key.first, std::move(shape)});
    }
    normalise(result, file_);
    return result;
  }

  const std::string& file_;
  std::vector<CsvRow> rows_;
  Columns columns_;
  std::map<std::string, std::size_t> numbers_;  // of points that have names alone
  std::map<std::size_t, std::string> named_;    // names of points; empty: not known
};

constexpr char kWhiteSpace[] = " \t\r\n";

std::string cell(double value) { return std::isnan(value) ? "" : format("%.6f", value); }

}  // namespace

Point unseen() {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return {kNone, kNone};
}

bool isSeen(const Point& point) { return std::isfinite(point.x) && std::isfinite(point.y); }

Shape shownPoints(const AnnotatedFrame& frame) {
  Shape shape = frame.points;
  for (const std::size_t p : frame.hidden) shape[p] = unseen();
  return shape;
}

bool hasFrameNumbers(const std::string& file) {
  const std::string text = readText(file);
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  return (start != std::string::npos && text[start] == '{') || isAnnotationTable(file);
}

bool isAnnotationTable(const std::string& file) {
  const std::string text = readText(file);
  const std::vector<CsvRow> rows = parseCsv(text.substr(0, text.find('\n')), file);
  return !rows.empty() && Columns(rows[0]).complete();
}

Annotations parseTable(const std::string& text, const std::string& file,
                       std::vector<TrackCells>& cells) {
  return TableReader(file, text).read(&cells);
}

bool beginsTracks(const std::string& text) {
  const std::vector<CsvRow> rows = parseCsv(text.substr(0, text.find('\n')), "");
  if (rows.empty()) return false;
  const Columns columns(rows[0]);
  return columns.complete() && columns.confidence && columns.status && !columns.file;
}

Annotations readAnnotations(const std::string& file, int first_frame) {
  const std::string text = readText(file);
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  const char first = start == std::string::npos ? '0' : text[start];
  if (first == '{') return parseAnnotationJson(text, file);
  if (lower(text.substr(std::min(start, text.size()), 9)) == "<!doctype") {
    throw Error(file +
                " is a page: open it in a browser, place points and save them; the saved file is "
                "read here");
  }
  const bool is_table = std::string("0123456789+-").find(first) == std::string::npos;
  if (is_table) return TableReader(file, text).read();
  const std::vector<Shape> shapes = readShapes(file);
  requireFrameNumbers(first_frame, shapes.size(), file);
  Annotations result;
  result.whole_shapes = true;
  for (std::size_t p = 0; p < shapes[0].size(); ++p) result.names.push_back(std::to_string(p));
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    result.frames.push_back({first_frame + static_cast<int>(i), "", shapes[i]});
  }
  return result;
}

std::string formatAnnotations(const Annotations& annotations) {
  const bool has_files =
      std::any_of(annotations.frames.begin(), annotations.frames.end(),
                  [](const AnnotatedFrame& frame) { return !frame.file.empty(); });
  std::string text = has_files ? "file,frame,point,name,x,y\n" : "frame,point,name,x,y\n";
  for (const AnnotatedFrame& frame : annotations.frames) {
    const std::string file = has_files ? csvCell(frame.file) + ',' : "";
    const Shape points = shownPoints(frame);
    for (std::size_t p = 0; p < points.size(); ++p) {
      text += file + format("%d,%zu,%s,", frame.number, p, csvCell(annotations.names[p]).c_str());
      text += cell(points[p].x) + ',' + cell(points[p].y) + '\n';
    }
  }
  return text;
}

const Shape* findFrame(const Annotations& annotations, const std::string& file, int number) {
  for (const AnnotatedFrame& frame : annotations.frames) {
    if (frame.number == number && frame.file == file) return &frame.points;
  }
  return nullptr;
}

void normalise(Annotations& annotations, const std::string& source) {
  std::set<std::string> names;
  for (const std::string& name : annotations.names) {
    if (!isPointName(name))
      throw Error(source + ": a name of a point is text without comma, quote and line end");
    if (!names.insert(name).second) throw Error(source + ": two points are called " + name);
  }
  const auto before = [](const AnnotatedFrame& a, const AnnotatedFrame& b) {
    return std::tie(a.file, a.number) < std::tie(b.file, b.number);
  };
  std::stable_sort(annotations.frames.begin(), annotations.frames.end(), before);
  for (std::size_t i = 1; i < annotations.frames.size(); ++i) {
    const AnnotatedFrame& frame = annotations.frames[i];
    if (before(annotations.frames[i - 1], frame)) continue;
    throw Error(
        format("%s: frame %d %s is there twice", source.c_str(), frame.number, frame.file.c_str()));
  }
}

}  // namespace remora
