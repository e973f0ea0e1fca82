#include "common/training.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "common/failure.h"
#include "common/files.h"
#include "common/hash.h"
#include "common/progress.h"
#include "common/streams.h"
#include "common/text.h"
#include "shape_lp_track.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

constexpr int kCoordinates = 2;
constexpr double kMargin = 30.0;  // predictors are placed so far inside the first image

struct Unit {
  std::size_t stage;
  int coordinate;
  std::size_t point;
};

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

unsigned seedOf(const TrainingPlan& plan, const Unit& unit) {
  const std::uint64_t place[] = {plan.seed, unit.stage, static_cast<std::uint64_t>(unit.coordinate),
                                 unit.point};
  const std::uint64_t hash = Hash().bytes(place, sizeof place).get();
  return static_cast<unsigned>(hash ^ (hash >> 32));
}

// Everything that decides the bytes of a unit.
std::string fingerprint(const TrainingPlan& plan) {
  Hash hash;
  hash.value(plan.seed).value(plan.generations).value(plan.scale);
  for (const Stage& stage : plan.stages) hash.value(stage.radius);
  for (const PointOptions& point : plan.points) {
    hash.value(point.predictors).value(point.placement).value(point.radius_factor);
  }
  for (const Example& example : plan.examples) {
    hash.value(example.image.width()).value(example.image.height());
    hash.bytes(example.image.data(), example.image.size() * sizeof(float));
    for (const Point& point : example.shape) hash.value(point.x).value(point.y);
  }
  return hash.digits() + '\n';
}

std::string unitsFolder(const std::string& folder) { return folder + "/units"; }

std::string unitFile(const std::string& folder, const Unit& unit) {
  return format("%s/stage%zu.%c.point%zu.lpb", unitsFolder(folder).c_str(), unit.stage,
                kCoordinateNames[unit.coordinate], unit.point);
}

bool isOurs(const std::string& name) {
  const char* const patterns[] = {"plan", "stage[0-9]*.[xy].point[0-9]*.lpb",
                                  "plan.unfinished-[0-9]*", "model.json.unfinished-[0-9]*",
                                  "stage[0-9]*.unfinished-[0-9]*"};
  return std::any_of(std::begin(patterns), std::end(patterns), [&name](const char* pattern) {
    return fnmatch(pattern, name.c_str(), 0) == 0;
  });
}

// Only what a training leaves there: a folder of this name may hold the user's own files. False
// when some of it stays.
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

// Keeps the finished units of the same plan, and no others.
void openUnits(const TrainingPlan& plan, const std::string& folder) {
  const std::string units = unitsFolder(folder);
  const std::string file = units + "/plan";
  const std::string wanted = fingerprint(plan);
  if (fs::exists(file) && readFile(file) == wanted) return;
  if (!removeUnits(folder))
    throw Failure("cannot remove the files of another training in " + units);
  makeFolder(units);
  writeFile(file, wanted);
}

bool liesInside(const Point& point, int width, int height, double margin) {
  return point.x - margin >= 0.0 && point.x + margin < width && point.y - margin >= 0.0 &&
         point.y + margin < height;
}

void checkSize(const Example& example, const Example& first) {
  const Canvas& size = example.canvas;
  const Canvas& wanted = first.canvas;
  if (size.frameWidth() == wanted.frameWidth() && size.frameHeight() == wanted.frameHeight())
    return;
  throw Failure(format("frame %s is %d x %d, frame %s is %d x %d", example.file.c_str(),
                       size.frameWidth(), size.frameHeight(), first.file.c_str(),
                       wanted.frameWidth(), wanted.frameHeight()));
}

void checkPoints(const Example& example, const TrainingPlan& plan) {
  const int width = example.canvas.frameWidth();
  const int height = example.canvas.frameHeight();
  for (std::size_t i = 0; i < plan.points.size(); ++i) {
    const Point& point = example.shape[i];
    if (liesInside(point, width, height, 0.0)) continue;
    throw Failure(format("point %zu (%s) at (%.2f, %.2f) lies outside frame %s, %d x %d", i,
                         plan.points[i].name.c_str(), point.x, point.y, example.file.c_str(), width,
                         height));
  }
}

// Images and positions of one point, as the library takes them.
class PointMaterial {
 public:
  PointMaterial(const TrainingPlan& plan, std::size_t point) {
    const std::size_t count = plan.examples.size();
    coordinates_.reserve(count);
    for (const Example& example : plan.examples) {
      images_.push_back(const_cast<CImg<float>*>(&example.image));  // the library only reads it
      const Point place = example.canvas.fromFrame(example.shape[point]);
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

// What the library says while it writes is why it could not.
void failIfTold() {
  const std::string message = lastMessage();
  if (!message.empty()) throw Failure(message);
}

void saveTracker(ShapeLPTracker& tracker, const NewFile& file) {
  takeMessages();
  tracker.SaveToFile(file.path());
  failIfTold();
}

void trainUnit(const TrainingPlan& plan, const Unit& unit, const std::string& file) {
  const PointOptions& options = plan.points[unit.point];
  PointMaterial material(plan, unit.point);
  float radius = plan.stages[unit.stage].radius * options.radius_factor;
  int predictors = options.predictors;
  char placement = static_cast<char>(options.placement);
  std::srand(seedOf(plan, unit));
  ShapeLPTracker tracker(material.images(), material.count(), plan.scale, 1, material.positions(),
                         &radius, &predictors, 0, &placement, unit.coordinate, plan.generations);
  takeMessages();
  // Saved as trained: around the point, not around the mean of its predictors.
  const float* const place = material.positions()[0][0];
  tracker.fp_lp_bunch[0]->SetPos(place[0], place[1]);
  NewFile unit_file(file);
  saveTracker(tracker, unit_file);
  unit_file.commitUnsynced();  // there are many, and isTrained() looks
}

// False for a unit that an interruption has left out or a power failure has cut.
bool isTrained(const std::string& file) {
  if (!fs::exists(file)) return false;
  const bool complete = ShapeLPTracker(file.c_str(), nullptr).num_fps == 1;
  takeMessages();
  const std::string content = readFile(file);
  return complete && content.back() == '\n';
}

void joinUnits(const TrainingPlan& plan, const std::string& folder, std::size_t stage,
               int coordinate, const NewFile& joined) {
  std::vector<std::string> files;
  for (std::size_t point = 0; point < plan.points.size(); ++point) {
    files.push_back(unitFile(folder, {stage, coordinate, point}));
  }
  std::vector<const char*> names;
  for (const std::string& file : files) names.push_back(file.c_str());
  takeMessages();
  ShapeLPTracker tracker(names.data(), static_cast<int>(names.size()));
  const std::string message = lastMessage();
  if (static_cast<std::size_t>(tracker.num_fps) != plan.points.size()) throw Failure(message);
  saveTracker(tracker, joined);
}

void writeFlat(const char* x_file, const char* y_file, const NewFile& flat) {
  takeMessages();
  SelLPShapeTracker trackers(x_file, y_file);
  const std::string message = lastMessage();
  if (trackers.num_fps == 0) throw Failure(message);
  trackers.SaveFlat(flat.path());
  failIfTold();
}

std::string describe(const TrainingPlan& plan, const std::vector<std::string>& flat_checks) {
  Model model{plan.stages,
              plan.scale,
              plan.seed,
              plan.predictors,
              plan.generations,
              static_cast<int>(plan.examples.size()),
              {}};
  for (const PointOptions& point : plan.points) model.point_names.push_back(point.name);
  for (std::size_t i = 0; i < flat_checks.size(); ++i) model.stages[i].flat_check = flat_checks[i];
  return formatModel(model);
}

// An earlier model in the folder may have had more stages.
void removeStagesFrom(const std::string& folder, std::size_t stage) {
  for (; fs::exists(flatFile(folder, stage)); ++stage) {
    fs::remove(flatFile(folder, stage));
    for (int c = 0; c < kCoordinates; ++c) fs::remove(bunchFile(folder, stage, c));
  }
}

// Everything is written before the first file of an earlier model is replaced.
void assembleModel(const TrainingPlan& plan, const std::string& folder) {
  const std::string scratch = unitsFolder(folder);
  std::vector<NewFile> files;
  std::vector<std::string> flat_checks;
  for (std::size_t stage = 0; stage < plan.stages.size(); ++stage) {
    NewFile x(bunchFile(folder, stage, 0), scratch);
    NewFile y(bunchFile(folder, stage, 1), scratch);
    NewFile flat(flatFile(folder, stage), scratch);
    joinUnits(plan, folder, stage, 0, x);
    joinUnits(plan, folder, stage, 1, y);
    writeFlat(x.path(), y.path(), flat);
    flat_checks.push_back(checkOf(flat.path()));
    files.push_back(std::move(x));
    files.push_back(std::move(y));
    files.push_back(std::move(flat));
  }
  files.emplace_back(modelFile(folder), scratch);
  fill(files.back(), describe(plan, flat_checks));
  NewFile::commitAll(files);
  removeStagesFrom(folder, plan.stages.size());
}

}  // namespace

void exportFlat(const std::string& x_file, const std::string& y_file, const std::string& flat) {
  for (const std::string& file : {x_file, y_file}) requireReadable(file);
  requireApart({x_file, y_file}, {flat});
  requireWritable(flat);
  NewFile written(flat);
  writeFlat(x_file.c_str(), y_file.c_str(), written);
  written.commit();
}

std::vector<std::string> checkPlan(const TrainingPlan& plan) {
  for (const Example& example : plan.examples) {
    checkSize(example, plan.examples.front());
    checkPoints(example, plan);
  }
  const Example& first = plan.examples.front();
  std::vector<std::string> warnings;
  for (std::size_t i = 0; i < plan.points.size(); ++i) {
    const Point place = first.canvas.fromFrame(first.shape[i]);
    if (liesInside(place, first.image.width(), first.image.height(), kMargin)) continue;
    warnings.push_back(
        format("point %zu (%s) is less than %.0f px from the border of frame %s: "
               "its predictors are placed beside it",
               i, plan.points[i].name.c_str(), kMargin / static_cast<double>(plan.scale),
               first.file.c_str()));
  }
  return warnings;
}

void trainModel(const TrainingPlan& plan, const std::string& folder) {
  makeFolder(folder);
  const FolderLock lock(folder);
  openUnits(plan, folder);
  const std::vector<Unit> units = listUnits(plan);
  {
    Progress progress("training", "units", static_cast<long>(units.size()));
    for (const Unit& unit : units) {
      const std::string file = unitFile(folder, unit);
      if (isTrained(file)) {
        progress.skip(1);
        continue;
      }
      trainUnit(plan, unit, file);
      progress.advance();
    }
  }
  assembleModel(plan, folder);
  removeUnits(folder);  // what stays is in nobody's way: the model is complete
}

}  // namespace remora::tools
