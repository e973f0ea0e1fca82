#include "follow/training/units.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>

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
  const char* const patterns[] = {"plan",
                                  "stage[0-9]*.[xy].point[0-9]*.lpb",
                                  "stage[0-9]*.[xy].point[0-9]*.begun",
                                  "plan.unfinished-[0-9]*",
                                  "model.json.unfinished-[0-9]*",
                                  "stage[0-9]*.unfinished-[0-9]*"};
  return std::any_of(std::begin(patterns), std::end(patterns), [&name](const char* pattern) {
    return fnmatch(pattern, name.c_str(), 0) == 0;
  });
}

constexpr char kShared[] = "shared";

std::string planFile(const std::string& folder) { return unitsFolder(folder) + "/plan"; }

bool isShared(const std::string& plan_text) {
  const std::vector<std::string> found = words(plan_text);
  return !found.empty() && found.back() == kShared;
}

[[noreturn]] void refuseUnits(const std::string& folder, const std::string& difference) {
  throw Error(unitsFolder(folder) + " holds units of another training: " + difference +
              "; whoever gives these up removes that folder");
}

// The last line of a unit's file, which the engine never reads.
struct Ending {
  Origin origin;
  std::string unit;
};

constexpr char kEnding[] = "made from ";
constexpr char kCheck[] = " check ";

std::string endingOf(const TrainingPlan& plan, const Unit& unit, const std::string& bunch) {
  const std::string line = kEnding + formatOrigin(plan.origin, ' ') + "unit " + stemOf(unit);
  return line + kCheck + Hash().text(bunch).text(line).digits() + "\n";
}

// Nothing for a file that is not whole.
std::optional<Ending> readEnding(const std::string& file) {
  if (!fs::is_regular_file(file)) return {};
  const std::string content = readFile(file);
  const std::size_t line = content.rfind(kEnding);
  const std::size_t check = content.rfind(kCheck);
  if (line == std::string::npos || check == std::string::npos || check < line) return {};
  const std::string wanted = Hash().text(std::string_view(content).substr(0, check)).digits();
  if (content.substr(check) != kCheck + wanted + "\n") return {};
  const std::string text = content.substr(line, check - line);
  return Ending{parseOrigin(text.substr(sizeof kEnding - 1)), words(text).back()};
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

bool beginUnit(const Unit& unit, const std::string& folder) {
  return writeFirst(unitsFolder(folder) + "/" + stemOf(unit) + ".begun", "");
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

void openUnits(const TrainingPlan& plan, const std::string& folder, UnitsOwner owner) {
  const std::string file = planFile(folder);
  const bool is_shared = owner == UnitsOwner::kMany;
  const std::string wanted = formatOrigin(plan.origin, '\n') + (is_shared ? "shared\n" : "");
  makeFolder(unitsFolder(folder));
  if (writeFirst(file, wanted)) return;
  const std::string found = readFile(file);
  const std::string difference = differenceOf(parseOrigin(found), plan.origin);
  if (difference.empty()) {
    if (is_shared && !isShared(found)) writeFile(file, wanted);
    return;
  }
  if (is_shared || isShared(found)) refuseUnits(folder, difference);
  if (!removeUnits(folder)) {
    throw Error("cannot remove the files of another training in " + unitsFolder(folder));
  }
  makeFolder(unitsFolder(folder));
  writeFile(file, wanted);
}

void requireUnits(const TrainingPlan& plan, const std::string& folder) {
  if (!fs::exists(planFile(folder))) throw Error(folder + " holds no units to join");
  const Origin found = parseOrigin(readFile(planFile(folder)));
  const std::string difference = differenceOf(found, plan.origin);
  if (!difference.empty()) refuseUnits(folder, difference);
}

UnitState stateOf(const TrainingPlan& plan, const Unit& unit, const std::string& folder) {
  const std::optional<Ending> ending = readEnding(unitFile(folder, unit));
  if (!ending) return UnitState::kMissing;
  const bool is_own =
      ending->unit == stemOf(unit) && differenceOf(ending->origin, plan.origin).empty();
  return is_own ? UnitState::kTrained : UnitState::kForeign;
}

std::string strangenessOf(const TrainingPlan& plan, const Unit& unit, const std::string& folder) {
  const std::string file = unitFile(folder, unit);
  const std::optional<Ending> ending = readEnding(file);
  if (!ending) return file + " is not whole";
  const std::string difference = differenceOf(ending->origin, plan.origin);
  if (!difference.empty()) return file + " does not belong here: " + difference;
  return file + " does not belong here: it is unit " + ending->unit + ", not " + stemOf(unit);
}

void trainUnit(const TrainingPlan& plan, const Unit& unit, const std::string& folder) {
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
  NewFile file(unitFile(folder, unit));
  saveTracker(tracker, file, messages);
  const std::string bunch = readFile(file.path());
  fill(file, bunch + endingOf(plan, unit, bunch));
  file.commitUnsynced();  // syncing many is slow, and stateOf() finds cut ones
}

}  // namespace remora
