// SLEAP: analysis tables with the columns track, frame_idx, instance.score, and for every node
// NODE.x, NODE.y and NODE.score.

#include <cmath>
#include <map>
#include <optional>

#include "follow/annotation/formats/cells.h"
#include "follow/annotation/formats/formats_inside.h"
#include "follow/base/text.h"

namespace remora {
namespace {

// The name of a node in a title such as nose.x, or nothing.
std::optional<std::string> nodeOf(const std::string& title, const std::string& ending) {
  if (title.size() <= ending.size()) return std::nullopt;
  const std::size_t size = title.size() - ending.size();
  if (title.compare(size, ending.size(), ending) != 0) return std::nullopt;
  return title.substr(0, size);
}

class Reader {
 public:
  Reader(const std::string& file, const std::vector<CsvRow>& rows, Collector& into)
      : file_(file), rows_(rows), into_(into) {}

  void read() {
    readTitles();
    for (std::size_t i = 1; i < rows_.size(); ++i) readRow(rows_[i]);
  }

 private:
  struct Node {
    std::size_t point, x, y;
  };

  void readTitles() {
    const CsvRow& titles = rows_[0];
    const Place place{file_, "line", titles.line};
    std::map<std::string, std::size_t> columns;
    for (std::size_t i = 0; i < titles.cells.size(); ++i) {
      const bool is_new = columns.emplace(titles.cells[i], i).second;
      const bool matters = nodeOf(titles.cells[i], ".x") || nodeOf(titles.cells[i], ".y");
      if (!is_new && matters) place.refuse("two columns are called " + shown(titles.cells[i]));
    }
    for (std::size_t i = 0; i < titles.cells.size(); ++i) {
      const auto name = nodeOf(titles.cells[i], ".x");
      if (!name) continue;
      const auto y = columns.find(*name + ".y");
      if (y == columns.end()) place.refuse("there is no column " + shown(*name + ".y"));
      nodes_.push_back({into_.point(*name, place), i, y->second});
    }
    const auto frame = columns.find("frame_idx");
    if (frame == columns.end() || nodes_.empty()) {
      place.refuse("a SLEAP table has the columns frame_idx, NODE.x and NODE.y");
    }
    frame_ = frame->second;
    if (const auto track = columns.find("track"); track != columns.end()) track_ = track->second;
  }

  void readRow(const CsvRow& row) {
    const Place place{file_, "line", row.line};
    requireCells(row, rows_[0].cells.size(), place);
    if (track_ && row.cells[*track_] != rows_[1].cells[*track_]) {
      place.refuse("track " + shown(row.cells[*track_]) + " follows track " +
                   shown(rows_[1].cells[*track_]) + ": a file of exactly one is wanted");
    }
    const auto number = toNumber<int>(row.cells[frame_]);
    if (!number) place.refuse("the frame " + shown(row.cells[frame_]) + " is no number");
    into_.newFrame({"", number, "", {}}, place);
    for (const Node& node : nodes_) {
      into_.set(
          node.point,
          {readCoordinate(row.cells[node.x], place), readCoordinate(row.cells[node.y], place)},
          place);
    }
  }

  const std::string& file_;
  const std::vector<CsvRow>& rows_;
  Collector& into_;
  std::vector<Node> nodes_;
  std::size_t frame_ = 0;
  std::optional<std::size_t> track_;
};

// The mean confidence of a frame, of the points that have one.
std::string scoreOf(const TrackedShape& shape) {
  double sum = 0.0;
  int count = 0;
  for (const TrackedPoint& point : shape) {
    if (std::isnan(point.confidence)) continue;
    sum += point.confidence;
    ++count;
  }
  return count == 0 ? "" : numberCell(sum / count);
}

}  // namespace

void readSleap(const std::string& file, const std::vector<CsvRow>& rows, Collector& into) {
  Reader(file, rows, into).read();
}

std::string formatSleap(const Positions& positions) {
  std::string text = "track,frame_idx,instance.score";
  for (const std::string& name : positions.names) {
    for (const char* part : {".x", ".y", ".score"}) text += ',' + csvCell(name + part);
  }
  text += '\n';
  for (const Positions::Frame* const frame : framesByNumber(positions, "SLEAP")) {
    text += format(",%d,", frame->number) + scoreOf(frame->points);
    for (const TrackedPoint& point : frame->points) {
      text += ',' + numberCell(point.x) + ',' + numberCell(point.y) + ',' +
              numberCell(point.confidence);
    }
    text += '\n';
  }
  return text;
}

}  // namespace remora
