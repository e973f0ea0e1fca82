// Positions that are known in some frames: annotations, truth, corrections.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/export.h"

namespace remora {

// A point that is not seen in a frame has a position that is no number.
REMORA_FOLLOW_EXPORT Point unseen();
REMORA_FOLLOW_EXPORT bool isSeen(const Point& point);

struct AnnotatedFrame {
  int number = 0;    // of the frame in its sequence
  std::string file;  // its image, or the recording that it is of; empty where nothing tells
  Shape points;      // in the order of the names
  // Indices of points that something covers, ascending: where they are is known all the same, but
  // the picture does not show them.
  std::vector<std::size_t> hidden = {};
};

struct Annotations {
  std::vector<std::string> names;      // of the points
  std::vector<AnnotatedFrame> frames;  // in the order of file and number, each once
  bool whole_shapes = false;           // as a shape sequence file has them: no point can be missing
  std::vector<std::string> colours = {};  // of the points, #rrggbb; empty: none are told
  std::vector<std::pair<std::size_t, std::size_t>> lines = {};  // between points
};

// The points of a frame that its picture shows: hidden ones are unseen.
REMORA_FOLLOW_EXPORT Shape shownPoints(const AnnotatedFrame& frame);

// Reads a table with a line for each frame and point, which has a header that names the columns
// frame, point, name, x, y, in any order, separated by commas, semicolons or tabs:
//   frame   number of the frame
//   point   index of the point, from 0; not needed where there are names
//   name    its name; not needed where there are indices
//   x, y    position; both cells empty or "nan": a point that is not seen
//   file    image or recording; may be missing
// Further columns are skipped. Frames and points come in any order, and not all need to be there.
// Or an annotation file in JSON, as the page of remora annotate saves it (docs/formats.md); or a
// shape sequence file, whose first shape is of frame `first_frame`.
//
// Throws Error, naming file and place, for a file of a later version, for a point that is there
// twice, a name that is none or belongs to two indices, what is no number, and more than 10 million
// positions.
REMORA_FOLLOW_EXPORT Annotations readAnnotations(const std::string& file, int first_frame = 0);

// Whether a file has frame numbers of its own: a table as above, by its first line, or JSON.
REMORA_FOLLOW_EXPORT bool hasFrameNumbers(const std::string& file);
// Whether a file is a table as above, by its first line.
REMORA_FOLLOW_EXPORT bool isAnnotationTable(const std::string& file);

// The table, with all points of each frame; with a column file where a frame has one. It has no
// hidden points: they are unseen.
REMORA_FOLLOW_EXPORT std::string formatAnnotations(const Annotations& annotations);

// The points of a frame, by file and number; nothing where it is not annotated.
REMORA_FOLLOW_EXPORT const Shape* findFrame(const Annotations& annotations, const std::string& file,
                                            int number);

// Sorts frames, and throws Error, naming `source`, where one is there twice or a name is none.
REMORA_FOLLOW_EXPORT void normalise(Annotations& annotations, const std::string& source);

}  // namespace remora
