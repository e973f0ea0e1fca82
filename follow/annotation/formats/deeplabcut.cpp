// DeepLabCut: tables with three rows of titles, scorer, bodyparts and coords; those of projects for
// several animals have a row of individuals behind the first. Labelled frames have the path of
// their image, in one column or in a column for each part of it; frames of a video have their
// number.

#include <cmath>
#include <limits>
#include <map>
#include <set>

#include "follow/annotation/formats/cells.h"
#include "follow/annotation/formats/formats_inside.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

struct Columns {
  std::size_t point = 0;
  std::size_t x = kNone;
  std::size_t y = kNone;
  std::size_t likelihood = kNone;  // in tables of analysed videos
};

class Reader {
 public:
  Reader(const std::string& file, const std::vector<CsvRow>& rows, Collector& into)
      : file_(file), rows_(rows), into_(into) {}

  void read() {
    readTitles();
    for (std::size_t i = titles_; i < rows_.size(); ++i) readRow(rows_[i]);
  }

 private:
  Place placeOf(const CsvRow& row) const { return {file_, "line", row.line}; }

  const CsvRow& titleRow(std::size_t index, const char* title) const {
    if (index < rows_.size() && rows_[index].cells[0] == title) {
      requireCells(rows_[index], rows_[0].cells.size(), placeOf(rows_[index]));
      return rows_[index];
    }
    const long line = index < rows_.size() ? rows_[index].line : static_cast<long>(index) + 1;
    Place{file_, "line", line}.refuse(
        format("a DeepLabCut table has a row that begins with %s here", title));
  }

  void readTitles() {
    titleRow(0, "scorer");
    const bool has_individuals = rows_.size() > 1 && rows_[1].cells[0] == "individuals";
    titles_ = has_individuals ? 4 : 3;
    const CsvRow& parts = titleRow(titles_ - 2, "bodyparts");
    const CsvRow& coordinates = titleRow(titles_ - 1, "coords");
    while (index_columns_ < coordinates.cells.size() && coordinates.cells[index_columns_].empty()) {
      ++index_columns_;
    }
    if (has_individuals) requireOneIndividual(titleRow(1, "individuals"));
    for (std::size_t i = index_columns_; i < coordinates.cells.size(); ++i) {
      addColumn(i, parts.cells[i], coordinates.cells[i], placeOf(coordinates));
    }
    for (const Columns& columns : columns_) {
      if (columns.x == kNone || columns.y == kNone) {
        placeOf(coordinates).refuse("a body part has no column x or no column y");
      }
    }
  }

  void requireOneIndividual(const CsvRow& row) const {
    const std::set<std::string> individuals(row.cells.begin() + static_cast<long>(index_columns_),
                                            row.cells.end());
    if (individuals.size() <= 1) return;
    placeOf(row).refuse(
        format("it holds %zu individuals: a file of exactly one is wanted", individuals.size()));
  }

  void addColumn(std::size_t column, const std::string& part, const std::string& coordinate,
                 const Place& place) {
    if (coordinate != "x" && coordinate != "y" && coordinate != "likelihood") {
      place.refuse(shown(coordinate) + " is none of x, y and likelihood");
    }
    const std::size_t point = into_.point(part, place);
    const auto [known, is_new] = places_.emplace(point, columns_.size());
    if (is_new) columns_.push_back({point, kNone, kNone, kNone});
    Columns& columns = columns_[known->second];
    std::size_t& wanted = coordinate == "x"   ? columns.x
                          : coordinate == "y" ? columns.y
                                              : columns.likelihood;
    if (wanted != kNone) place.refuse(shown(part) + " has two columns " + coordinate);
    wanted = column;
  }

  FrameKey keyOf(const CsvRow& row) const {
    if (index_columns_ == 1) {
      if (const auto number = toNumber<int>(row.cells[0])) return {"", number, "", {}};
    }
    std::string path;
    for (std::size_t i = 0; i < index_columns_; ++i) {
      path += (i == 0 ? "" : "/") + row.cells[i];
    }
    return {path, {}, path, {}};
  }

  void readRow(const CsvRow& row) {
    const Place place = placeOf(row);
    requireCells(row, rows_[0].cells.size(), place);
    const FrameKey key = keyOf(row);
    if (!key.number && key.file.empty()) place.refuse("it has neither an image nor a number");
    into_.newFrame(key, place);
    for (const Columns& columns : columns_) {
      const Point position{readCoordinate(row.cells[columns.x], place),
                           readCoordinate(row.cells[columns.y], place)};
      into_.set(columns.point, isLikely(row, columns, place) ? position : unseen(), place);
    }
  }

  bool isLikely(const CsvRow& row, const Columns& columns, const Place& place) const {
    if (columns.likelihood == kNone) return true;
    return into_.isLikely(readCoordinate(row.cells[columns.likelihood], place));
  }

  const std::string& file_;
  const std::vector<CsvRow>& rows_;
  Collector& into_;
  std::size_t titles_ = 0;         // rows
  std::size_t index_columns_ = 1;  // image or frame
  std::vector<Columns> columns_;
  std::map<std::size_t, std::size_t> places_;  // of points in columns_
};

// Whether every frame has an image of its own.
bool haveImages(const Positions& positions) {
  std::set<std::string> files;
  for (const Positions::Frame& frame : positions.frames) {
    if (frame.file.empty() || !files.insert(frame.file).second) return false;
  }
  return true;
}

std::vector<const Positions::Frame*> framesInOrder(const Positions& positions) {
  std::vector<const Positions::Frame*> frames;
  for (const Positions::Frame& frame : positions.frames) frames.push_back(&frame);
  return frames;
}

bool haveConfidence(const Positions& positions) {
  for (const Positions::Frame& frame : positions.frames) {
    for (const TrackedPoint& point : frame.points) {
      if (!std::isnan(point.confidence)) return true;
    }
  }
  return false;
}

}  // namespace

void readDeepLabCut(const std::string& file, const std::vector<CsvRow>& rows, Collector& into) {
  Reader(file, rows, into).read();
}

std::string formatDeepLabCut(const Positions& positions) {
  const bool with_likelihood = haveConfidence(positions);
  std::string scorers = "scorer";
  std::string parts = "bodyparts";
  std::string coordinates = "coords";
  for (const std::string& name : positions.names) {
    for (const char* coordinate : {"x", "y", "likelihood"}) {
      if (!with_likelihood && coordinate[0] == 'l') continue;
      scorers += ",remora";
      parts += ',' + csvCell(name);
      coordinates += std::string(",") + coordinate;
    }
  }
  std::string text = scorers + '\n' + parts + '\n' + coordinates + '\n';
  const bool by_image = haveImages(positions);
  for (const Positions::Frame* const frame :
       by_image ? framesInOrder(positions) : framesByNumber(positions, "DeepLabCut")) {
    text += by_image ? csvCell(frame->file) : std::to_string(frame->number);
    for (const TrackedPoint& point : frame->points) {
      text += ',' + numberCell(point.x) + ',' + numberCell(point.y);
      if (with_likelihood) text += ',' + numberCell(point.confidence);
    }
    text += '\n';
  }
  return text;
}

}  // namespace remora
