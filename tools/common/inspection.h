// What kind of text file this is, and what it holds. The formats carry no mark of their own: a file
// is of the kind whose layout it follows to its very end.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace remora::tools {

enum class FileKind { kFlat, kBunches, kShape, kShapeSequence, kTres };

struct PointInfo {
  int x_predictors = 0;  // of a bunch file: its predictors
  int y_predictors = 0;
  long x_support_pixels = 0;  // before merging
  long y_support_pixels = 0;
  double x = 0.0;  // position
  double y = 0.0;
};

struct FileInfo {
  FileKind kind = FileKind::kFlat;
  std::vector<PointInfo> points;  // of a flat LP file or a bunch file
  long shapes = 0;                // of the others
  long shape_points = 0;          // in the last shape
  bool same_counts = true;
};

// Nothing when the file follows no layout. Fails when it cannot be read.
std::optional<FileInfo> inspectFile(const std::string& file);

}  // namespace remora::tools
