#include "follow/training/units.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "follow/annotation/annotations.h"
#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/base/hash.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/training/joining.h"
#include "shape_lp_track.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

unsigned seedOf(const TrainingPlan& plan, const Unit& unit) {
  const std::uint64_t place[] = {plan.seed, unit.stage, static_cast<std::uint64_t>(unit.coordinate),
                                 unit.point};
  const std::uint64_t hash = Hash().bytes(place, sizeof place).get();
  return static_cast<unsigned>(hash ^ (hash >> 32));
}

std::string stemOf(const Unit& unit) {
  return format("stage%zu.%c.point%zu", unit.stage, "xy"[unit.coordinate], unit.point);
}

bool isOurs(const std::string& name) {
  const char* const patterns[] = {"plan", "stage[0-9]*.[xy].point[0-9]*.lpb",
                                  "plan.unfinished-[0-9]*", "model.json.unfinished-[0-9]*",
                                  "stage[0-9]*.unfinished-[0-9]*"};
  return std::any_of(std::begin(patterns), std::end(patterns), [&name](const char* pattern) {
    return fnmatch(pattern, name.c_str(), 0) == 0;
  });
}

// Images that show one point, and its positions, as the engine takes them.
class PointMaterial {
 public:
  PointMaterial(const TrainingMaterial& material, std::size_t point) {
    for (std::size_t i = 0; i < material.images.size(); ++i) {
      const Point& place = material.shapes[i][point];
      if (!isSeen(place)) continue;
      images_.push_back(const_cast<CImg<float>*>(&material.images[i]));  // the engine reads it only
      coordinates_.push_back({static_cast<float>(place.x), static_cast<float>(place.y)});
    }
    for (auto& pair : coordinates_) shapes_.push_back(pair.data());
    for (float*& shape : shapes_) positions_.push_back(&shape);
  }

  CImg<float>** images() { return images_.data(); }
  int count() const { return static_cast<int>(images_.size()); }
  float*** positions() { return positions_.data(); }

 private:
  std::vector<CImg<float>*> images_;
  std::vector<std::array<float, 2>> coordinates_;
  std::vector<float*> shapes_;
  std::vector<float**> positions_;
};

}  // namespace

std::vector<Unit> listUnits(const TrainingPlan& plan) {
  std::vector<Unit> units;
  for (std::size_t stage = 0; stage < plan.stages.size(); ++stage) {
    for (int coordinate = 0; coordinate < kCoordinates; ++coordinate) {
      for (std::size_t point = 0; point < plan.points.size(); ++point) {
        units.push_back({stage, coordinate, point});
      }
    }
  }
  return units;
}

std::string unitsFolder(const std::string& folder) { return folder + "/units"; }

std::string nameOf(const TrainingPlan& plan, const Unit& unit) {
  return stemOf(unit) + " (" + plan.points[unit.point].name + ")";
}

std::string unitFile(const std::string& folder, const Unit& unit) {
  return unitsFolder(folder) + "/" + stemOf(unit) + ".lpb";
}

bool removeUnits(const std::string& folder) {
  if (!fs::is_directory(unitsFolder(folder))) return true;
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator(unitsFolder(folder))) {
    if (entry.is_regular_file() && isOurs(entry.path().filename())) paths.push_back(entry.path());
  }
  std::error_code error;
  bool all = true;
  for (const fs::path& path : paths) all = fs::remove(path, error) && all;
  fs::remove(unitsFolder(folder), error);
  return all;
}

void openUnits(const TrainingPlan& plan, const std::string& folder) {
  const std::string units = unitsFolder(folder);
  const std::string file = units + "/plan";
  const std::string wanted = "remora " REMORA_VERSION "\n" + plan.mark + "\n";
  if (fs::exists(file) && readFile(file) == wanted) return;
  if (!removeUnits(folder)) throw Error("cannot remove the files of another training in " + units);
  makeFolder(units);
  writeFile(file, wanted);
}

void trainUnit(const TrainingPlan& plan, const Unit& unit, const std::string& file) {
  const PointOptions& options = plan.points[unit.point];
  const PlannedStage& stage = plan.stages[unit.stage];
  PointMaterial material(plan.materials[stage.material], unit.point);
  float radius = stage.radius * options.radius_factor;
  int predictors = options.predictors;
  char placement = static_cast<char>(options.placement);
  EngineMessages messages;
  std::srand(seedOf(plan, unit));
  ShapeLPTracker tracker(material.images(), material.count(), plan.scale, 1, material.positions(),
                         &radius, &predictors, 0, &placement, unit.coordinate, plan.generations);
  if (tracker.num_fps != 1) throw Error("point " + options.name + " cannot be trained");
  // Saved as trained: around the point, not around the mean of its predictors.
  const float* const place = material.positions()[0][0];
  tracker.fp_lp_bunch[0]->SetPos(place[0], place[1]);
  NewFile unit_file(file);
  saveTracker(tracker, unit_file, messages);
  unit_file.commitUnsynced();  // syncing many is slow, and isTrained() finds cut ones
}

bool isTrained(const std::string& file) {
  if (!fs::is_regular_file(file)) return false;
  const EngineMessages silence;
  const bool complete = ShapeLPTracker(file.c_str(), nullptr).num_fps == 1;
  const std::string content = readFile(file);
  return complete && content.back() == '\n';
}

}  // namespace remora
