#include "common/tracks.h"

#include <sstream>

#include "common/failure.h"
#include "follow/base/files.h"
#include "follow/base/text.h"

namespace remora::tools {
namespace {

constexpr char kHeader[] = "frame,point,name,x,y";
constexpr std::size_t kColumns = 5;

// Adds one line of a table; false when it is malformed or out of order.
bool addRow(const std::vector<std::string>& cells, Tracks& tracks) {
  if (cells.size() != kColumns) return false;
  const auto frame = toNumber<int>(cells[0]);
  const auto point = toNumber<int>(cells[1]);
  const auto x = toNumber<double>(cells[3]);
  const auto y = toNumber<double>(cells[4]);
  if (!frame || !point || !x || !y) return false;
  if (tracks.frame_numbers.empty() || tracks.frame_numbers.back() != *frame) {
    tracks.frame_numbers.push_back(*frame);
    tracks.shapes.emplace_back();
  }
  if (tracks.shapes.size() == 1) tracks.names.push_back(cells[2]);
  const std::size_t next = tracks.shapes.back().size();
  if (*point < 0 || static_cast<std::size_t>(*point) != next || next >= tracks.names.size()) {
    return false;
  }
  tracks.shapes.back().push_back({*x, *y});
  return true;
}

Tracks parseCsv(const std::string& content, const std::string& file) {
  Tracks tracks;
  std::istringstream in(content);
  nextLine(in);
  long number = 2;
  for (auto line = nextLine(in); line; line = nextLine(in), ++number) {
    if (addRow(split(*line, ','), tracks)) continue;
    throw Failure(format("%s, line %ld: not the next point of %s", file.c_str(), number, kHeader));
  }
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    if (tracks.shapes[i].size() == tracks.names.size()) continue;
    throw Failure(format("%s: frame %d lacks points", file.c_str(), tracks.frame_numbers[i]));
  }
  return tracks;
}

}  // namespace

std::string formatCsv(const Tracks& tracks, std::size_t from) {
  std::string text = from == 0 ? std::string(kHeader) + "\n" : "";
  for (std::size_t i = from; i < tracks.shapes.size(); ++i) {
    for (std::size_t p = 0; p < tracks.shapes[i].size(); ++p) {
      const Point& point = tracks.shapes[i][p];
      text += format("%d,%zu,%s,%.4f,%.4f\n", tracks.frame_numbers[i], p, tracks.names[p].c_str(),
                     point.x, point.y);
    }
  }
  return text;
}

Tracks readTracks(const std::string& file, int first_frame) {
  const std::string content = readText(file);
  if (content.rfind(kHeader, 0) == 0) return parseCsv(content, file);
  Tracks tracks;
  tracks.shapes = readShapes(file);
  requireFrameNumbers(first_frame, tracks.shapes.size(), file);
  tracks.names = indexNames(tracks.shapes[0].size());
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    tracks.frame_numbers.push_back(first_frame + static_cast<int>(i));
  }
  return tracks;
}

std::vector<std::string> indexNames(std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) names.push_back(std::to_string(i));
  return names;
}

}  // namespace remora::tools
