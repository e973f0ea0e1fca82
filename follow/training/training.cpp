#include "follow/training/training.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <utility>

#include <unistd.h>

#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/base/hash.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/model/loaded_model.h"
#include "follow/training/calibration.h"
#include "follow/training/preparation.h"
#include "shape_lp_track.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

constexpr int kCoordinates = 2;
constexpr int kMostPredictors = 1000000;
constexpr float kLargestRadius = 1e6F;

void checkOptions(const TrainingOptions& options, std::size_t points) {
  if (options.radii.empty() || options.radii.size() != options.steps.size()) {
    throw Error(format("%zu radii and %zu numbers of steps: one of each for every stage",
                       options.radii.size(), options.steps.size()));
  }
  for (std::size_t i = 0; i < options.radii.size(); ++i) {
    const float radius = options.radii[i];
    if (!(radius >= 1.0F && radius <= kLargestRadius)) throw Error("a radius is none");
    if (i > 0 && radius > options.radii[i - 1]) throw Error("radii go from coarse to fine");
    if (options.steps[i] < 1 || options.steps[i] > 1000) throw Error("steps are 1 to 1000");
  }
  if (options.predictors < 1 || options.predictors > kMostPredictors) {
    throw Error(format("a point has 1 to %d predictors", kMostPredictors));
  }
  if (options.generations < 1) throw Error("there is at least one generation");
  if (!(options.scale >= 0.0 && options.scale <= 100.0)) throw Error("a scale is 0 to 100");
  const std::set<std::string> names(options.point_names.begin(), options.point_names.end());
  if (names.size() != options.point_names.size()) throw Error("two points have one name");
  for (const std::string& name : names) {
    if (!isPointName(name)) throw Error("\"" + name + "\" is no name of a point");
  }
  if (!names.empty() && names.size() != points) {
    throw Error(format("%zu names for %zu points", names.size(), points));
  }
}

void checkExample(const Example& example, const Example& first) {
  const GreyImage& image = example.image;
  const std::size_t pixels =
      static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  if (image.width < 2 || image.height < 2 || image.pixels.size() != pixels) {
    throw Error(example.name + ": not a picture of at least 2 x 2 pixels");
  }
  if (example.shape.size() != first.shape.size() || example.shape.empty()) {
    throw Error(format("%s has %zu points, %s has %zu", example.name.c_str(), example.shape.size(),
                       first.name.c_str(), first.shape.size()));
  }
  for (std::size_t p = 0; p < example.shape.size(); ++p) {
    const Point& at = example.shape[p];
    if (at.x >= 0.0 && at.x < image.width && at.y >= 0.0 && at.y < image.height) continue;
    throw Error(format("%s: point %zu at (%.2f, %.2f) lies outside of the picture of %d x %d",
                       example.name.c_str(), p, at.x, at.y, image.width, image.height));
  }
}

// One stage x one coordinate x one point, with a seed of its own: a model is the same bytes in
// whatever order its units are trained.
struct Unit {
  std::size_t stage;
  int coordinate;
  std::size_t point;
};

unsigned seedOf(unsigned seed, const Unit& unit) {
  const std::uint64_t place[] = {seed, unit.stage, static_cast<std::uint64_t>(unit.coordinate),
                                 unit.point};
  const std::uint64_t hash = Hash().bytes(place, sizeof place).get();
  return static_cast<unsigned>(hash ^ (hash >> 32));
}

// Canvases and positions of one point, as the engine takes them.
class PointMaterial {
 public:
  PointMaterial(Preparation& preparation, int level, std::size_t point) {
    for (CImg<float>& canvas : preparation.canvases[level]) images_.push_back(&canvas);
    coordinates_.reserve(images_.size());
    for (const Shape& shape : preparation.shapes[level]) {
      coordinates_.push_back(
          {static_cast<float>(shape[point].x), static_cast<float>(shape[point].y)});
    }
    for (auto& pair : coordinates_) shapes_.push_back(pair.data());
    for (float*& shape : shapes_) positions_.push_back(&shape);
  }

  CImg<float>** images() { return images_.data(); }
  int count() const { return static_cast<int>(images_.size()); }
  float*** positions() { return positions_.data(); }
  const std::array<float, 2>& first() const { return coordinates_[0]; }

 private:
  std::vector<CImg<float>*> images_;
  std::vector<std::array<float, 2>> coordinates_;
  std::vector<float*> shapes_;
  std::vector<float**> positions_;
};

// A folder of files on the way to a model; gone when the training ends, however it does.
class Workshop {
 public:
  explicit Workshop(const std::string& folder)
      : path_(folder + "/training-" + std::to_string(getpid())) {
    makeFolder(path_);
  }
  ~Workshop() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class Training {
 public:
  Training(const std::vector<Example>& examples, const TrainingOptions& options,
           const std::string& folder, const TrainingProgress& progress)
      : examples_(examples),
        options_(options),
        folder_(folder),
        progress_(progress),
        workshop_(folder),
        preparation_(prepare(examples, options.scale, options.radii.front())) {}

  void run() {
    describe();
    for (std::size_t stage = 0; stage < options_.radii.size(); ++stage) trainStage(stage);
    calibrate(examples_, description_, stages_);
    finish();
  }

 private:
  std::size_t points() const { return examples_[0].shape.size(); }

  void describe() {
    description_.scale = static_cast<float>(preparation_.scale);
    description_.seed = options_.seed;
    description_.predictors = options_.predictors;
    description_.generations = options_.generations;
    description_.training_frames = static_cast<int>(examples_.size());
    description_.point_names = options_.point_names;
    for (std::size_t p = description_.point_names.size(); p < points(); ++p) {
      description_.point_names.push_back(std::to_string(p));
    }
    description_.following = std::move(preparation_.model);
  }

  void trainStage(std::size_t stage) {
    for (int coordinate = 0; coordinate < kCoordinates; ++coordinate) {
      std::vector<std::string> files;
      for (std::size_t point = 0; point < points(); ++point) {
        files.push_back(format("%s/point%zu.lpb", workshop_.path().c_str(), point));
        trainUnit({stage, coordinate, point}, files.back());
        tell();
      }
      join(files, bunchFile(workshop_.path(), stage, coordinate));
    }
    const std::string flat = flatFile(workshop_.path(), stage);
    exportFlat(stage, flat);
    description_.stages.push_back(
        {options_.radii[stage], options_.steps[stage], checkOf(readFile(flat))});
    const EngineMessages silence;
    stages_.push_back(std::make_unique<FastShapeTracker>(flat.c_str()));
  }

  void tell() {
    ++done_;
    const std::size_t total = options_.radii.size() * kCoordinates * points();
    if (progress_ && !progress_(done_, total)) {
      throw Error(format("the training was stopped after %zu of %zu units", done_, total));
    }
  }

  void trainUnit(const Unit& unit, const std::string& file) {
    const int level = levelOfRadius(options_.radii[unit.stage]);
    const auto factor = static_cast<float>(description_.following->levels[level].factor);
    PointMaterial material(preparation_, level, unit.point);
    float radius = options_.radii[unit.stage] / factor;
    int predictors = options_.predictors;
    EngineMessages messages;
    std::srand(seedOf(options_.seed, unit));
    ShapeLPTracker tracker(material.images(), material.count(), 1.0F, 1, material.positions(),
                           &radius, &predictors, 0, nullptr, unit.coordinate, options_.generations);
    messages.take();
    if (tracker.num_fps != 1) throw Error("a point cannot be trained");
    // Saved as trained: around the point, not around the mean of its predictors.
    tracker.fp_lp_bunch[0]->SetPos(material.first()[0], material.first()[1]);
    tracker.SaveToFile(file.c_str());
    failIfTold(messages);
  }

  static void join(const std::vector<std::string>& files, const std::string& joined) {
    std::vector<const char*> names;
    for (const std::string& file : files) names.push_back(file.c_str());
    EngineMessages messages;
    ShapeLPTracker tracker(names.data(), static_cast<int>(names.size()));
    const std::string reason = messages.reason();
    if (static_cast<std::size_t>(tracker.num_fps) != files.size()) throw Error(reason);
    tracker.SaveToFile(joined.c_str());
    failIfTold(messages);
  }

  void exportFlat(std::size_t stage, const std::string& flat) const {
    EngineMessages messages;
    SelLPShapeTracker trackers(bunchFile(workshop_.path(), stage, 0).c_str(),
                               bunchFile(workshop_.path(), stage, 1).c_str());
    const std::string reason = messages.reason();
    if (trackers.num_fps == 0) throw Error(reason);
    trackers.SaveFlat(flat.c_str());
    failIfTold(messages);
  }

  // What the engine says while it writes is why it could not.
  static void failIfTold(EngineMessages& messages) {
    const std::string reason = messages.reason();
    if (!reason.empty()) throw Error(reason);
  }

  // Everything is written before the first file of an earlier model is replaced.
  void finish() {
    std::vector<NewFile> files;
    const auto add = [&](const std::string& name, const std::string& content) {
      files.emplace_back(name, workshop_.path());
      fill(files.back(), content);
    };
    for (std::size_t stage = 0; stage < stages_.size(); ++stage) {
      for (int c = 0; c < kCoordinates; ++c) {
        add(bunchFile(folder_, stage, c), readFile(bunchFile(workshop_.path(), stage, c)));
      }
      add(flatFile(folder_, stage), readFile(flatFile(workshop_.path(), stage)));
    }
    const DescriptionFiles description = formatDescription(description_);
    add(canvasFile(folder_), description.canvas);
    add(looksFile(folder_), description.looks);
    add(modelFile(folder_), description.json);
    NewFile::commitAll(files);
    removeStagesFrom(stages_.size());
  }

  // An earlier model in the folder may have had more stages.
  void removeStagesFrom(std::size_t stage) const {
    for (; fs::exists(flatFile(folder_, stage)); ++stage) {
      fs::remove(flatFile(folder_, stage));
      for (int c = 0; c < kCoordinates; ++c) fs::remove(bunchFile(folder_, stage, c));
    }
  }

  const std::vector<Example>& examples_;
  const TrainingOptions& options_;
  const std::string& folder_;
  const TrainingProgress& progress_;
  Workshop workshop_;
  Preparation preparation_;
  ModelDescription description_;
  Stages stages_;
  std::size_t done_ = 0;
};

}  // namespace

void train(const std::vector<Example>& examples, const TrainingOptions& options,
           const std::string& folder, const TrainingProgress& progress) {
  if (examples.empty()) throw Error("there is nothing to train on");
  for (const Example& example : examples) checkExample(example, examples[0]);
  checkOptions(options, examples[0].shape.size());
  makeFolder(folder);
  const FolderLock lock(folder);
  Training(examples, options, folder, progress).run();
}

}  // namespace remora
