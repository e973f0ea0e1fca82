#include "follow/annotation/shape_files.h"

#include <cmath>
#include <limits>

#include "follow/base/files.h"
#include "follow/base/number_text.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

class SequenceReader {
 public:
  explicit SequenceReader(const std::string& file)
      : file_(file), content_(readFile(file)), numbers_(content_) {}

  std::vector<Shape> read() {
    if (content_.rfind(kByteOrderMark, 0) == 0) {
      throw Error(file_ + " begins with a byte order mark: only numbers may be in it");
    }
    const int count = numbers_.count();
    if (!numbers_.ok()) fail("the number of shapes", false);
    std::vector<Shape> shapes;
    for (int i = 0; i < count; ++i) shapes.push_back(readShape(shapes));
    if (shapes.empty() || shapes[0].empty()) throw Error(file_ + " holds no positions");
    if (!numbers_.atEnd()) {
      throw Error(
          format("%s goes on behind shape %d, its last one by the number of shapes in the "
                 "first line",
                 file_.c_str(), count - 1));
    }
    return shapes;
  }

 private:
  Shape readShape(const std::vector<Shape>& earlier) {
    const int points = numbers_.count();
    if (!numbers_.ok()) {
      fail(format("the number of points of shape %zu", earlier.size()), earlier.empty());
    }
    if (!earlier.empty() && static_cast<std::size_t>(points) != earlier[0].size()) {
      throw Error(format("%s, line %ld: shape %zu has %d points, shape 0 has %zu", file_.c_str(),
                         numbers_.line(), earlier.size(), points, earlier[0].size()));
    }
    Shape shape;
    for (int p = 0; p < points; ++p) {
      const double x = numbers_.real();
      const double y = numbers_.real();
      if (!numbers_.ok()) {
        fail(format("a position of shape %zu, point %d", earlier.size(), p), earlier.empty());
      }
      shape.push_back({x, y});
    }
    return shape;
  }

  // In the first shape, the file may be one of another kind.
  [[noreturn]] void fail(const std::string& wanted, bool is_first) const {
    const std::string found = numbers_.token().empty()
                                  ? "the file ends"
                                  : "there is " + std::string(numbers_.token().substr(0, 40));
    const char* const hint =
        is_first ? "; the first line of a shape sequence file must be the number of shapes" : "";
    throw Error(format("%s, line %ld: %s where %s is expected%s", file_.c_str(), numbers_.line(),
                       found.c_str(), wanted.c_str(), hint));
  }

  const std::string& file_;
  std::string content_;
  NumberText numbers_;
};

}  // namespace

std::vector<Shape> readShapes(const std::string& file) { return SequenceReader(file).read(); }

std::string formatShapes(const std::vector<Shape>& shapes) {
  std::string text = format("%zu\n", shapes.size());
  for (const Shape& shape : shapes) text += formatShape(shape);
  return text;
}

std::string formatShape(const Shape& shape) {
  std::string text = format("%zu\n", shape.size());
  for (const Point& point : shape) text += format("%.6f %.6f\n", point.x, point.y);
  return text;
}

void requireNumbers(const std::vector<Shape>& shapes, const std::string& file) {
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    for (std::size_t p = 0; p < shapes[i].size(); ++p) {
      if (std::isfinite(shapes[i][p].x) && std::isfinite(shapes[i][p].y)) continue;
      throw Error(format("%s: shape %zu, point %zu is not a position", file.c_str(), i, p));
    }
  }
}

void requireFrameNumbers(int first_frame, std::size_t shapes, const std::string& file) {
  const long last = first_frame + static_cast<long>(shapes) - 1;
  if (last <= std::numeric_limits<int>::max()) return;
  throw Error(format("%s has shapes for frames %d to %ld: there are no such numbers", file.c_str(),
                     first_frame, last));
}

}  // namespace remora
