// Tracks: where every point was in every frame.
#pragma once

#include <string>
#include <vector>

#include "common/shapes.h"

namespace remora::tools {

struct Tracks {
  std::vector<std::string> names;  // of the points
  std::vector<int> frame_numbers;  // of the frames
  std::vector<Shape> shapes;       // one per frame
};

// One line per frame and point: frame,point,name,x,y. With `from` above
// 0, only the rows from this frame on, without the header.
std::string formatCsv(const Tracks& tracks, std::size_t from = 0);

// Reads what formatCsv writes, or a shape sequence file, whose frames are numbered from first_frame
// and whose points are named by their index.
Tracks readTracks(const std::string& file, int first_frame);

// The names of points without names: 0, 1, 2 ...
std::vector<std::string> indexNames(std::size_t count);

}  // namespace remora::tools
