#include "common/shapes.h"

#include <cmath>
#include <limits>

#include "common/failure.h"
#include "follow/base/files.h"
#include "common/inspection.h"
#include "common/streams.h"
#include "follow/base/text.h"
#include "shape_lp_track.h"

namespace remora::tools {
namespace {

void release(float** points) {
  for (float** point = points; *point != nullptr; ++point) delete[] * point;
  delete[] points;
}

void requireEqualCounts(const std::vector<Shape>& shapes, const std::string& name) {
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    if (shapes[i].size() == shapes[0].size()) continue;
    throw Failure(format("%s: shape %zu has %zu points, shape 0 has %zu", name.c_str(), i,
                         shapes[i].size(), shapes[0].size()));
  }
}

// Why a file is refused that the library's reader refused with `message`.
std::string whyRefused(const std::string& name, const std::string& message) {
  if (readFile(name).rfind(kByteOrderMark, 0) == 0) {
    return name + " begins with a byte order mark: only numbers may be in it";
  }
  constexpr char kWanted[] = "the first line of a shape sequence file must be the number of shapes";
  const std::optional<FileInfo> info = inspectFile(name);
  if (info && info->kind == FileKind::kShape) return name + " is a shape file: " + kWanted;
  if (info && info->kind == FileKind::kTres) return name + " is a tres file: " + kWanted;
  const bool is_at_first_count = message.find(": shape 0, point count:") != std::string::npos;
  return is_at_first_count ? message + "; " + kWanted : message;
}

}  // namespace

Shape toShape(float* const* points) {
  Shape shape;
  for (; *points != nullptr; ++points) {
    shape.push_back({static_cast<double>((*points)[0]), static_cast<double>((*points)[1])});
  }
  return shape;
}

std::vector<Shape> readShapes(const std::string& name) {
  requireReadable(name);
  takeMessages();
  int num_points = 0;
  int num_shapes = 0;
  const ExplainedExit exit;  // the library ends the process if the file has vanished since
  float*** const read = ReadShapeFileSeq(name.c_str(), 1.0F, &num_points, &num_shapes);
  std::vector<Shape> shapes;
  for (int i = 0; i < num_shapes; ++i) {
    shapes.push_back(toShape(read[i]));
    release(read[i]);
  }
  delete[] read;

  const std::string message = lastMessage();
  requireEqualCounts(shapes, name);
  if (!message.empty()) throw Failure(whyRefused(name, message));
  if (shapes.empty() || shapes[0].empty()) throw Failure(name + " holds no positions");
  return shapes;
}

void requireNumbers(const std::vector<Shape>& shapes, const std::string& name) {
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    for (std::size_t p = 0; p < shapes[i].size(); ++p) {
      if (std::isfinite(shapes[i][p].x) && std::isfinite(shapes[i][p].y)) continue;
      throw Failure(format("%s: shape %zu, point %zu is not a position", name.c_str(), i, p));
    }
  }
}

void requireFrameNumbers(int first_frame, std::size_t shapes, const std::string& name) {
  const long last = first_frame + static_cast<long>(shapes) - 1;
  if (last <= std::numeric_limits<int>::max()) return;
  throw Failure(format("%s has shapes for frames %d to %ld: there are no such numbers",
                       name.c_str(), first_frame, last));
}

std::string formatShapes(const std::vector<Shape>& shapes) {
  std::string text = format("%zu\n", shapes.size());
  for (const Shape& shape : shapes) {
    text += format("%zu\n", shape.size());
    for (const Point& point : shape) text += format("%.6f %.6f\n", point.x, point.y);
  }
  return text;
}

}  // namespace remora::tools
