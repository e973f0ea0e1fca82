#include "common/inspection.h"

#include <algorithm>
#include <string_view>

#include "follow/base/files.h"
#include "follow/base/text.h"

namespace remora::tools {
namespace {

constexpr char kWhiteSpace[] = " \t\n\v\f\r";

// Walks through the numbers of a file; not ok from the first token that does not fit.
class Walk {
 public:
  explicit Walk(std::string_view text) : text_(text) { skipWhiteSpace(); }

  bool ok() const { return ok_; }
  bool atEnd() const { return text_.empty(); }
  bool complete() const { return ok_ && atEnd(); }

  int integer() { return take<int>(); }
  double real() { return take<double>(); }

  int count() {
    const int value = integer();
    if (value < 0) ok_ = false;
    return ok_ ? value : 0;
  }

  void skipIntegers(long size) {
    for (long i = 0; i < size && ok_; ++i) integer();
  }

  void skipReals(long size) {
    for (long i = 0; i < size && ok_; ++i) real();
  }

 private:
  template <class Number>
  Number take() {
    const std::string_view token = text_.substr(0, text_.find_first_of(kWhiteSpace));
    const auto value = ok_ ? toNumber<Number>(token) : std::nullopt;
    text_.remove_prefix(token.size());
    skipWhiteSpace();
    ok_ = value.has_value();
    return value.value_or(Number{});
  }

  void skipWhiteSpace() {
    text_.remove_prefix(std::min(text_.find_first_not_of(kWhiteSpace), text_.size()));
  }

  std::string_view text_;  // what is left
  bool ok_ = true;
};

void walkPart(Walk& walk, int& predictors, long& support_pixels, PointInfo& point) {
  predictors = walk.count();
  support_pixels = walk.count();
  point.x = walk.real();
  point.y = walk.real();
  walk.skipIntegers(2 * support_pixels);
  walk.skipReals(2 * support_pixels + 1);
}

FileInfo walkFlat(Walk& walk) {
  FileInfo info;
  info.kind = FileKind::kFlat;
  const int points = walk.count();
  for (int i = 0; i < points && walk.ok(); ++i) {
    PointInfo point;
    walkPart(walk, point.x_predictors, point.x_support_pixels, point);
    walkPart(walk, point.y_predictors, point.y_support_pixels, point);
    info.points.push_back(point);
  }
  return info;
}

long walkPredictor(Walk& walk) {
  walk.count();
  const long support_pixels = walk.count();
  walk.integer();
  walk.skipIntegers(2 * support_pixels);
  walk.skipReals(support_pixels);
  const long rows = walk.count();
  const long cols = walk.count();
  walk.skipReals(rows * cols + 2);
  return support_pixels;
}

FileInfo walkBunches(Walk& walk) {
  FileInfo info;
  info.kind = FileKind::kBunches;
  const int points = walk.count();
  for (int i = 0; i < points && walk.ok(); ++i) {
    PointInfo point;
    point.x_predictors = walk.count();
    point.x = walk.real();
    point.y = walk.real();
    walk.skipReals(2L * point.x_predictors);
    for (int p = 0; p < point.x_predictors && walk.ok(); ++p) {
      point.x_support_pixels += walkPredictor(walk);
    }
    info.points.push_back(point);
  }
  return info;
}

void walkShape(Walk& walk, FileInfo& info) {
  const long points = walk.count();
  walk.skipReals(2 * points);
  info.same_counts = info.same_counts && (info.shapes == 0 || points == info.shape_points);
  info.shape_points = points;
  ++info.shapes;
}

FileInfo walkSingleShape(Walk& walk) {
  FileInfo info;
  info.kind = FileKind::kShape;
  walkShape(walk, info);
  return info;
}

FileInfo walkShapeSequence(Walk& walk) {
  FileInfo info;
  info.kind = FileKind::kShapeSequence;
  const int shapes = walk.count();
  for (int i = 0; i < shapes && walk.ok(); ++i) walkShape(walk, info);
  return info;
}

FileInfo walkTres(Walk& walk) {
  FileInfo info;
  info.kind = FileKind::kTres;
  while (walk.ok() && !walk.atEnd()) walkShape(walk, info);
  return info;
}

}  // namespace

std::optional<FileInfo> inspectFile(const std::string& file) {
  const std::string text = readFile(file);
  if (Walk(text).atEnd()) return std::nullopt;
  for (const auto layout : {walkFlat, walkBunches, walkShapeSequence, walkSingleShape, walkTres}) {
    Walk walk(text);
    FileInfo info = layout(walk);
    if (walk.complete()) return info;
  }
  return std::nullopt;
}

}  // namespace remora::tools
