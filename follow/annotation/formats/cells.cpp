#include "follow/annotation/formats/cells.h"

#include <algorithm>
#include <cmath>

#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {

double readCoordinate(const std::string& cell, const Place& place) {
  if (cell.empty()) return unseen().x;
  const auto value = toNumber<double>(cell);
  if (!value) place.refuse(shown(cell) + " is no number");
  return *value;
}

std::string numberCell(double value) { return std::isnan(value) ? "" : format("%.6f", value); }

void requireCells(const CsvRow& row, std::size_t columns, const Place& place) {
  if (row.cells.size() == columns) return;
  place.refuse(format("%zu cells under %zu columns", row.cells.size(), columns));
}

bool isSeen(const TrackedPoint& point) { return isSeen(Point{point.x, point.y}); }

std::vector<const Positions::Frame*> framesByNumber(const Positions& positions,
                                                    const char* format_name) {
  std::vector<const Positions::Frame*> frames;
  for (const Positions::Frame& frame : positions.frames) frames.push_back(&frame);
  std::stable_sort(frames.begin(), frames.end(),
                   [](const auto* a, const auto* b) { return a->number < b->number; });
  for (std::size_t i = 1; i < frames.size(); ++i) {
    if (frames[i]->number != frames[i - 1]->number) continue;
    throw Error(format(
        "frame %d is there twice, and %s knows frames by their numbers alone: split the file",
        frames[i]->number, format_name));
  }
  return frames;
}

}  // namespace remora
