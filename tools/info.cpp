// remora info: what a file holds.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "common/failure.h"
#include "common/inspection.h"
#include "common/model.h"
#include "common/streams.h"
#include "follow/base/text.h"
#include "fast_lp.h"
#include "verbs.h"

namespace remora::tools {
namespace {

std::string describeModel(const std::string& folder) {
  const Model model = readModel(folder);
  std::string text = format(
      "model of %zu points in %zu stages\n"
      "trained on %d frames, %d predictors a point, %d generations, scale %g, seed %u\n",
      model.point_names.size(), model.stages.size(), model.training_frames, model.predictors,
      model.generations, static_cast<double>(model.scale), model.seed);
  for (std::size_t i = 0; i < model.stages.size(); ++i) {
    text += format("stage %zu: radius %g px, %d step%s a frame, %s\n", i,
                   static_cast<double>(model.stages[i].radius), model.stages[i].steps,
                   model.stages[i].steps == 1 ? "" : "s", flatFile(folder, i).c_str());
  }
  text += "points:";
  for (const std::string& name : model.point_names) text += ' ' + name;
  return text + "\n";
}

std::string describeFlat(const std::string& file, const FileInfo& info) {
  const FastShapeTracker tracker(file.c_str());
  if (tracker.num_points != static_cast<int>(info.points.size())) throw Failure(lastMessage());
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
  const char* const kind = info.kind == FileKind::kShape           ? "shape file"
                           : info.kind == FileKind::kShapeSequence ? "shape sequence file"
                                                                   : "tres file";
  std::string text = kind;
  if (info.kind != FileKind::kShape) text += format(" of %ld shapes", info.shapes);
  return text + (info.same_counts ? format(" of %ld points\n", info.shape_points)
                                  : std::string(" of differing numbers of points\n"));
}

std::string describe(const std::string& file) {
  if (std::filesystem::is_directory(file)) return describeModel(file);
  const std::filesystem::path path(file);
  if (path.filename() == "model.json")
    return describeModel(path.has_parent_path() ? path.parent_path() : ".");
  const std::optional<FileInfo> info = inspectFile(file);
  if (!info) throw Failure(file + " is none of: model, flat LP, bunch, shape, tres file");
  switch (info->kind) {
    case FileKind::kFlat:
      return describeFlat(file, *info);
    case FileKind::kBunches:
      return describeBunches(*info);
    default:
      return describeShapes(*info);
  }
}

}  // namespace

void addInfo(CLI::App& app) {
  auto file = std::make_shared<std::string>();
  CLI::App* const verb = app.add_subcommand("info", "Say what a file or a model folder holds");
  verb->add_option("file", *file, "File, or folder of a model")->required()->type_name("FILE");
  verb->callback([file] {
    separateMessages();
    printData(describe(*file));
  });
}

}  // namespace remora::tools
