#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <utility>
#include <vector>

#include "internal/messages.h"
#include "internal/shape_store.h"
#include "internal/text_io.h"
#include "shape_lp_track.h"

using remora::internal::newShape;
using remora::internal::newShapes;
using remora::internal::openToRead;
using remora::internal::Point;
using remora::internal::say;
using remora::internal::ShapeSequence;
using remora::internal::shown;
using remora::internal::Stream;
using remora::internal::TextReader;
namespace text = remora::internal::text;

namespace {

Stream openShapes(const char* name) {
  Stream file = openToRead(name);
  if (!file) say(text::kShapeUnreadable, shown(name));
  return file;
}

Point readPoint(TextReader& in, float scale, long index) {
  const float x = in.single("x coordinate of point", index);
  const float y = in.single("y coordinate of point", index);
  return {scale * x, scale * y};
}

std::vector<Point> readPoints(TextReader& in, float scale, int count) {
  std::vector<Point> points;
  for (int i = 0; i < count && in.ok(); ++i) points.push_back(readPoint(in, scale, i));
  return points;
}

// Collects shapes that are read one after another.
class Collector {
 public:
  void add(const std::vector<Point>& points) {
    const int count = static_cast<int>(points.size());
    same_counts_ = same_counts_ && (sequence_.shapes.empty() || count == sequence_.num_points);
    sequence_.num_points = count;
    sequence_.shapes.push_back(newShape(points));
  }

  long size() const { return static_cast<long>(sequence_.shapes.size()); }

  ShapeSequence finish(const char* fname) {
    if (!same_counts_) say(text::kPointCountsDiffer, fname);
    return std::move(sequence_);
  }

 private:
  ShapeSequence sequence_;
  bool same_counts_ = true;
};

float*** handOver(ShapeSequence sequence, int* ret_num_points, int* ret_num_shapes) {
  *ret_num_points = sequence.num_points;
  *ret_num_shapes = static_cast<int>(sequence.shapes.size());
  return newShapes(sequence.shapes);
}

// A frame that may be cut short: missing coordinates are NaN. Missing points are added up to the
// announced count, but to no more than `most` points: a count alone costs no memory.
std::vector<Point> readFrame(TextReader& in, float scale, int count, std::size_t most) {
  constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
  std::vector<Point> points;
  for (int i = 0; i < count && in.ok(); ++i) {
    const float x = in.single("x coordinate of point", i);
    const bool has_x = in.ok();
    const float y = in.single("y coordinate of point", i);
    points.push_back({has_x ? scale * x : kMissing, in.ok() ? scale * y : kMissing});
  }
  const auto announced = static_cast<std::size_t>(count);
  if (points.size() < std::min(announced, most)) {
    points.resize(std::min(announced, most), {kMissing, kMissing});
  }
  return points;
}

}  // namespace

float** ReadShapeFile(const char* fname, float scale, int* ret_num_points) {
  const Stream file = openShapes(fname);
  if (!file) return nullptr;
  TextReader in(file.get(), "shape file", fname);
  const std::vector<Point> points = readPoints(in, scale, in.count("point count"));
  if (!in.report()) return nullptr;
  *ret_num_points = static_cast<int>(points.size());
  return newShape(points).release();
}

ShapeSequence remora::internal::readShapeSequence(std::FILE* file, const char* fname, float scale) {
  TextReader in(file, "shape sequence file", fname);
  Collector shapes;
  const int announced = in.count("shape count");
  for (int i = 0; i < announced && in.ok(); ++i) {
    const TextReader::Within within(in, "shape", i);
    const std::vector<Point> points = readPoints(in, scale, in.count("point count"));
    if (in.ok()) shapes.add(points);
  }
  const bool complete = in.report();
  ShapeSequence sequence = shapes.finish(fname);
  sequence.complete = complete;
  return sequence;
}

float*** ReadShapeFileSeq(const char* fname, float scale, int* ret_num_points,
                          int* ret_num_shapes) {
  const Stream file = openShapes(fname);
  if (!file) std::exit(1);
  return handOver(remora::internal::readShapeSequence(file.get(), fname, scale), ret_num_points,
                  ret_num_shapes);
}

float*** ReadTresFile(const char* fname, float scale, int* ret_num_points, int* ret_num_frames) {
  constexpr std::size_t kMostMissing = 1024;
  const Stream file = openShapes(fname);
  if (!file) return nullptr;
  TextReader in(file.get(), "tres file", fname);
  Collector frames;
  std::size_t points_read = 0;
  while (in.ok() && !in.atEnd()) {
    const TextReader::Within within(in, "frame", frames.size());
    const int count = in.count("point count");
    if (!in.report()) break;
    const std::vector<Point> points =
        readFrame(in, scale, count, std::max(kMostMissing, points_read));
    if (!in.ok()) say(text::kTresCutShort, fname, in.fault().c_str());
    points_read += points.size();
    frames.add(points);
  }
  return handOver(frames.finish(fname), ret_num_points, ret_num_frames);
}

void sleep(int msec) {
  const std::clock_t start = std::clock();
  for (std::clock_t now = start; now != -1 && now - start < msec; now = std::clock()) {
  }
}

int glob_save_lp_info_stub = 0;
