#include "follow/training/joining.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "follow/base/engine_messages.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "shape_lp_track.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

// The engine prints messages while it writes only when it fails.
void failOnMessage(EngineMessages& messages) {
  const std::string reason = messages.reason();
  if (!reason.empty()) throw Error(reason);
}

std::unique_ptr<ShapeLPTracker> readTracker(const std::string& file) {
  requireReadable(file);
  EngineMessages messages;
  auto tracker = std::make_unique<ShapeLPTracker>(file.c_str(), nullptr);
  const std::string reason = messages.reason();
  if (tracker->num_fps == 0) throw Error(reason.empty() ? file + " has no points" : reason);
  return tracker;
}

// STAGE of a file that is named STAGE.x.lpb or STAGE.y.lpb, as this program does; otherwise empty.
std::string stageOf(const std::string& file, char coordinate) {
  const std::string name = fs::path(file).filename();
  const std::string end = format(".%c.lpb", coordinate);
  const bool is_ours =
      name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
  return is_ours ? name.substr(0, name.size() - end.size()) : "";
}

void checkNames(const std::string& x_file, const std::string& y_file) {
  if (!stageOf(x_file, 'y').empty()) throw Error(x_file + " is trained for y, by its name");
  if (!stageOf(y_file, 'x').empty()) throw Error(y_file + " is trained for x, by its name");
  const std::string x_stage = stageOf(x_file, 'x');
  const std::string y_stage = stageOf(y_file, 'y');
  if (x_stage == y_stage || x_stage.empty() || y_stage.empty()) return;
  throw Error(x_file + " and " + y_file + " are of different stages, by their names");
}

// All predictors of a point and a stage have the same range.
void checkReach(const std::string& x_file, const std::string& y_file) {
  const auto x = readTracker(x_file);
  const auto y = readTracker(y_file);
  for (int i = 0; i < std::min(x->num_fps, y->num_fps); ++i) {
    const auto& x_predictors = x->fp_lp_bunch[i]->predictors;
    const auto& y_predictors = y->fp_lp_bunch[i]->predictors;
    if (x_predictors.empty() || y_predictors.empty()) continue;
    if (x_predictors[0].range == y_predictors[0].range) continue;
    throw Error(
        format("%s and %s are of different stages: predictors of point %d reach %d px in "
               "one and %d px in the other",
               x_file.c_str(), y_file.c_str(), i, x_predictors[0].range, y_predictors[0].range));
  }
}

}  // namespace

void saveTracker(ShapeLPTracker& tracker, const NewFile& file, EngineMessages& messages) {
  messages.take();
  tracker.SaveToFile(file.path());
  failOnMessage(messages);
}

void joinBunches(const std::vector<std::string>& files, const NewFile& joined) {
  std::vector<const char*> names;
  for (const std::string& file : files) names.push_back(file.c_str());
  EngineMessages messages;
  ShapeLPTracker tracker(names.data(), static_cast<int>(names.size()));
  const std::string reason = messages.reason();
  if (static_cast<std::size_t>(tracker.num_fps) != files.size()) throw Error(reason);
  saveTracker(tracker, joined, messages);
}

void writeFlat(const std::string& x_file, const std::string& y_file, const NewFile& flat) {
  EngineMessages messages;
  SelLPShapeTracker trackers(x_file.c_str(), y_file.c_str());
  const std::string reason = messages.reason();
  if (trackers.num_fps == 0) throw Error(reason);
  trackers.SaveFlat(flat.path());
  failOnMessage(messages);
}

void exportFlat(const std::string& x_file, const std::string& y_file, const std::string& flat) {
  checkNames(x_file, y_file);
  checkReach(x_file, y_file);
  requireApart({x_file, y_file}, {flat});
  requireWritable(flat);
  NewFile written(flat);
  writeFlat(x_file, y_file, written);
  written.commit();
}

}  // namespace remora
