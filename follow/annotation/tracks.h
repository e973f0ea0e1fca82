// Tracks: where every point was in every frame, and how sure that is.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "follow/annotation/shape.h"
#include "follow/export.h"

namespace remora {

enum class Status {
  kTracked,   // seen where it is
  kOccluded,  // not to be recognised; the position is where the shape has it, given the others
  kLost,      // the shape was not found; the position is where the point was last
};

// "tracked", "occluded" or "lost".
REMORA_FOLLOW_EXPORT const char* nameOf(Status status);

struct TrackedPoint {
  double x = 0.0;  // pixels; see annotation/shape.h
  double y = 0.0;
  // 0 ... 1: the share of such points that are within 5 % of the shape's size (the root mean square
  // distance of its points from their mean) of where they should be, as learned in training. Not a
  // number in a plain model, which does not know; 0 when lost.
  double confidence = 0.0;
  Status status = Status::kLost;
};

using TrackedShape = std::vector<TrackedPoint>;

// Positions that are known, as tracked ones: full confidence.
REMORA_FOLLOW_EXPORT TrackedShape asKnown(const Shape& shape);

struct Tracks {
  std::vector<std::string> names;    // of the points
  std::vector<int> frame_numbers;    // of the frames
  std::vector<TrackedShape> shapes;  // one per frame
  // Of the frames, in seconds from the beginning of their video; empty where the footage tells no
  // times.
  std::vector<double> times = {};
};

// The table of tracks, a line for every frame and point:
//   frame,point,name,x,y,confidence,status
// with a last column `time` where there are times. A confidence or time that is not known, and the
// position of a point that was never seen, is left empty.
REMORA_FOLLOW_EXPORT std::string formatTable(const Tracks& tracks);

// Its first line, and the lines of one frame.
REMORA_FOLLOW_EXPORT std::string formatHeader(const Tracks& tracks);
REMORA_FOLLOW_EXPORT std::string formatRows(const Tracks& tracks, std::size_t index);

// Reads what formatTable writes; any table of positions (annotation/annotations.h), with columns,
// frames and points in any order, not all of which need to be there; or a shape sequence file,
// whose frames are numbered from first_frame and whose points are named by their index. Without
// other columns than those of positions every point that has one is tracked, the others are lost,
// with no known confidence. Throws Error, naming file and line.
REMORA_FOLLOW_EXPORT Tracks readTracks(const std::string& file, int first_frame);

// How the frames of some tracks went, in one line: how many positions are tracked, occluded and
// lost, in how many frames, and where that began.
REMORA_FOLLOW_EXPORT std::string summaryOf(const Tracks& tracks);

// The same of frames that come one by one.
class REMORA_FOLLOW_EXPORT TracksSummary {
 public:
  TracksSummary() = default;
  explicit TracksSummary(const Tracks& tracks);
  void add(const std::vector<std::string>& names, int frame_number, const TrackedShape& shape);
  std::size_t frames() const { return frames_; }
  std::string text() const;

 private:
  struct Count {
    std::size_t positions = 0;
    std::size_t frames = 0;
    std::string first;
  };

  std::string describe(Status status) const;

  std::size_t frames_ = 0;
  std::array<Count, 3> counts_;  // by status
  bool knows_ = true;            // how confident it is
};

// The names of points without names: 0, 1, 2 ...
REMORA_FOLLOW_EXPORT std::vector<std::string> indexNames(std::size_t count);

}  // namespace remora
