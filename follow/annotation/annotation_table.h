// Tables of positions, and what else those of tracks hold.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "follow/annotation/annotations.h"

namespace remora {

// The cells of a line that are of tracks alone; empty where the table has no such column.
struct TrackCells {
  long line = 0;
  int frame = 0;
  std::size_t point = 0;
  std::string confidence, status, time;
};

// Reads a table as readAnnotations does, and notes these cells of every line.
Annotations parseTable(const std::string& text, const std::string& file,
                       std::vector<TrackCells>& cells);

// Whether the first line of a text names the columns of a table of tracks, in any order,
// of one recording.
bool beginsTracks(const std::string& text);

}  // namespace remora
