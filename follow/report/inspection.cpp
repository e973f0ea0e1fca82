#include "follow/report/inspection.h"

#include <filesystem>
#include <optional>
#include <vector>

#include "fast_lp.h"
#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/base/number_text.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/model/description.h"

namespace remora {
namespace {

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

void walkPart(NumberText& walk, int& predictors, long& support_pixels, PointInfo& point) {
  predictors = walk.count();
  support_pixels = walk.count();
  point.x = walk.real();
  point.y = walk.real();
  walk.skipIntegers(2 * support_pixels);
  walk.skipReals(2 * support_pixels + 1);
}

FileInfo walkFlat(NumberText& walk) {
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

long walkPredictor(NumberText& walk) {
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

FileInfo walkBunches(NumberText& walk) {
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

void walkShape(NumberText& walk, FileInfo& info) {
  const long points = walk.count();
  walk.skipReals(2 * points);
  info.same_counts = info.same_counts && (info.shapes == 0 || points == info.shape_points);
  info.shape_points = points;
  ++info.shapes;
}

FileInfo walkSingleShape(NumberText& walk) {
  FileInfo info;
  info.kind = FileKind::kShape;
  walkShape(walk, info);
  return info;
}

FileInfo walkShapeSequence(NumberText& walk) {
  FileInfo info;
  info.kind = FileKind::kShapeSequence;
  const int shapes = walk.count();
  for (int i = 0; i < shapes && walk.ok(); ++i) walkShape(walk, info);
  return info;
}

FileInfo walkTres(NumberText& walk) {
  FileInfo info;
  info.kind = FileKind::kTres;
  while (walk.ok() && !walk.atEnd()) walkShape(walk, info);
  return info;
}

// Nothing when the file follows no layout.
std::optional<FileInfo> inspect(const std::string& file) {
  const std::string text = readFile(file);
  if (text.rfind(kByteOrderMark, 0) == 0) {
    throw Error(file + " begins with a byte order mark: only numbers may be in it");
  }
  if (NumberText(text).atEnd()) return std::nullopt;
  for (const auto layout : {walkFlat, walkBunches, walkShapeSequence, walkSingleShape, walkTres}) {
    NumberText walk(text);
    FileInfo info = layout(walk);
    if (walk.complete()) return info;
  }
  return std::nullopt;
}

std::string describeModel(const std::filesystem::path& given) {
  const std::filesystem::path slim = given.lexically_normal();  // without // and /./
  const std::string folder = slim.has_filename() ? slim : slim.parent_path();
  const ModelDescription model = readDescription(folder);
  const bool plain = !model.following;
  std::string text = format(
      "%smodel of %zu points in %zu stages\n"
      "trained on %d frames, %d predictors a point, %d generations, %s %g, seed %u\n",
      plain ? "plain " : "", model.point_names.size(), model.stages.size(), model.training_frames,
      model.predictors, model.generations, plain ? "frames at scale" : "canvas at scale",
      static_cast<double>(model.scale), model.seed);
  if (model.frames) {
    text += "training frames: " + describe(*model.frames) + '\n';
  }
  for (std::size_t i = 0; i < model.stages.size(); ++i) {
    text += format("stage %zu: radius %g px, %d step%s a frame, %s\n", i,
                   static_cast<double>(model.stages[i].radius), model.stages[i].steps,
                   model.stages[i].steps == 1 ? "" : "s", flatFile(folder, i).c_str());
  }
  if (!plain) {
    const Level& canvas = model.following->levels[kFine];
    text += format("canvas: %d x %d px, a shape of %.0f px, %zu modes of motion\n", canvas.width,
                   canvas.height, model.following->size, model.following->shape.modes().size());
  }
  text += "points:";
  for (const std::string& name : model.point_names) text += ' ' + name;
  text += '\n';
  for (const std::string& line : describe(model.review, model.point_names)) text += line + '\n';
  return text;
}

std::string describeFlat(const std::string& file, const FileInfo& info) {
  EngineMessages messages;
  const FastShapeTracker tracker(file.c_str());
  if (tracker.num_points != static_cast<int>(info.points.size())) throw Error(messages.reason());
  std::string text = format("flat LP file of %zu points\n", info.points.size());
  text += "point  part  predictors  support pixels  merged  radius  position\n";
  for (std::size_t i = 0; i < info.points.size(); ++i) {
    const PointInfo& point = info.points[i];
    const FastLP& merged = *tracker.all_flp[i];
    text += format("%5zu     x  %10d  %14ld  %6d  %6g  (%.2f, %.2f)\n", i, point.x_predictors,
                   point.x_support_pixels, merged.num_sp_x, merged.x_rad, point.x, point.y);
    text += format("%5zu     y  %10d  %14ld  %6d  %6g\n", i, point.y_predictors,
                   point.y_support_pixels, merged.num_sp_y, merged.y_rad);
  }
  return text;
}

std::string describeBunches(const FileInfo& info) {
  std::string text = format("bunch file of %zu points\n", info.points.size());
  text += "point  predictors  support pixels  position\n";
  for (std::size_t i = 0; i < info.points.size(); ++i) {
    const PointInfo& point = info.points[i];
    text += format("%5zu  %10d  %14ld  (%.2f, %.2f)\n", i, point.x_predictors,
                   point.x_support_pixels, point.x, point.y);
  }
  return text;
}

std::string describeShapes(const FileInfo& info) {
  std::string text = info.kind == FileKind::kShape           ? "shape file"
                     : info.kind == FileKind::kShapeSequence ? "shape sequence file"
                                                             : "tres file";
  if (info.kind != FileKind::kShape) text += format(" of %ld shapes", info.shapes);
  return text + (info.same_counts ? format(" of %ld points\n", info.shape_points)
                                  : std::string(" of differing numbers of points\n"));
}

}  // namespace

std::string describe(const std::string& file) {
  if (std::filesystem::is_directory(file)) return describeModel(file);
  const std::filesystem::path path(file);
  if (path.filename() == "model.json")
    return describeModel(path.has_parent_path() ? path.parent_path() : ".");
  const std::optional<FileInfo> info = inspect(file);
  if (!info) throw Error(file + " is none of: model, flat LP, bunch, shape, tres file");
  switch (info->kind) {
    case FileKind::kFlat:
      return describeFlat(file, *info);
    case FileKind::kBunches:
      return describeBunches(*info);
    default:
      return describeShapes(*info);
  }
}

}  // namespace remora
