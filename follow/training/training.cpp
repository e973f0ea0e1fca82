#include "follow/training/training.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <memory>
#include <utility>

#include "follow/annotation/annotations.h"
#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/error.h"
#include "follow/model/loaded_model.h"
#include "follow/training/calibration.h"
#include "follow/training/completion.h"
#include "follow/training/joining.h"
#include "follow/training/plan.h"
#include "follow/training/preparation.h"
#include "follow/training/review.h"
#include "follow/training/units.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFilesOfStage = 3;

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
}

// Positions that somebody has divided by the size of the picture.
void requirePixels(const std::vector<Example>& examples) {
  bool any = false;
  for (const Example& example : examples) {
    for (const Point& at : example.shape) {
      if (at.x > 1.0 || at.y > 1.0) return;
      any = any || isSeen(at);
    }
  }
  if (!any) return;  // which is refused elsewhere
  throw Error(examples[0].name +
              ": no position is beyond 1, here and elsewhere; they must be pixels, not shares of "
              "width and height");
}

// What an annotation that lies outside may have gone through.
const char* suspicionOf(const Example& example) {
  const auto fits = [&example](const Point& at) {
    return std::isnan(at.x) || std::isnan(at.y) ||
           (at.x >= 0.0 && at.x < example.image.height && at.y >= 0.0 &&
            at.y < example.image.width);
  };
  const bool swapped = std::all_of(example.shape.begin(), example.shape.end(), fits);
  return swapped ? "; x and y may be swapped" : "";
}

void checkPositions(const Example& example, const TrainingOptions& options) {
  const GreyImage& image = example.image;
  for (std::size_t p = 0; p < example.shape.size(); ++p) {
    const Point& at = example.shape[p];
    if (std::isnan(at.x) || std::isnan(at.y)) continue;
    if (at.x >= 0.0 && at.x < image.width && at.y >= 0.0 && at.y < image.height) continue;
    throw Error(format("point %zu (%s) at (%.2f, %.2f) lies outside frame %s, %d x %d%s", p,
                       options.points[p].name.c_str(), at.x, at.y, example.name.c_str(),
                       image.width, image.height, suspicionOf(example)));
  }
}

void checkSize(const Example& example, const Example& first) {
  const GreyImage& image = example.image;
  if (image.width == first.image.width && image.height == first.image.height) return;
  throw Error(format("frame %s is %d x %d, frame %s is %d x %d: a plain model wants one size",
                     example.name.c_str(), image.width, image.height, first.name.c_str(),
                     first.image.width, first.image.height));
}

std::vector<std::string> namesOf(const TrainingOptions& options) {
  std::vector<std::string> names;
  for (const PointOptions& point : options.points) names.push_back(point.name);
  return names;
}

void include(double value, bool is_first, Limits& limits) {
  limits = {is_first ? value : std::min(limits.least, value),
            is_first ? value : std::max(limits.most, value)};
}

FrameKind kindOf(const std::vector<Example>& examples) {
  FrameKind kind;
  for (const Example& example : examples) {
    const bool is_first = &example == &examples[0];
    include(example.image.width, is_first, kind.width);
    include(example.image.height, is_first, kind.height);
    include(static_cast<double>(example.white), is_first, kind.white);
  }
  return kind;
}

enum class FinishedModel { kNone, kOfThisTraining, kOther };

bool holdsBunches(const std::string& folder, std::size_t stages) {
  for (std::size_t stage = 0; stage < stages; ++stage) {
    for (int c = 0; c < kCoordinates; ++c) {
      if (!fs::exists(bunchFile(folder, stage, c))) return false;
    }
  }
  return true;
}

// One of this training whose files are not all there, or have changed, is none: nothing is lost
// when it is trained again.
FinishedModel findModel(const std::string& folder, const std::string& mark, std::size_t stages) {
  if (!fs::exists(modelFile(folder))) return FinishedModel::kNone;
  if (readMark(folder) != mark) return FinishedModel::kOther;
  try {
    const LoadedModel whole(folder, {});
    if (holdsBunches(folder, stages)) return FinishedModel::kOfThisTraining;
  } catch (const Error&) {
  }
  return FinishedModel::kNone;
}

FolderLock makeLocked(const std::string& folder) {
  makeFolder(folder);
  return FolderLock(folder);
}

// A training in a model folder, which no other one enters meanwhile.
class Training {
 public:
  Training(const std::vector<TrainingFrame>& frames, const std::vector<Example>& examples,
           const TrainingOptions& options, std::string mark, const std::string& folder)
      : frames_(frames),
        examples_(examples),
        options_(options),
        folder_(folder),
        lock_(makeLocked(folder)) {
    describe(mark);
    plan_.generations = options.generations;
    plan_.seed = options.seed;
    plan_.points = options.points;
    plan_.mark = std::move(mark);
    options.plain ? planPlainly() : planToFollow();
    openUnits(plan_, folder);
  }

  const Review& review() const { return description_.review; }
  // A line for each unit that was tried again.
  const std::vector<std::string>& repeated() const { return repeated_; }

  // Goes on from the units that an earlier call has left.
  void trainUnits(const TrainingProgress& progress) {
    const std::vector<Unit> units = listUnits(plan_);
    std::vector<Unit> missing;
    std::copy_if(units.begin(), units.end(), std::back_inserter(missing),
                 [this](const Unit& unit) { return !isTrained(unitFile(folder_, unit)); });
    std::size_t done = units.size() - missing.size();
    tell(progress, done, units.size());
    Tasks tasks;
    tasks.count = missing.size();
    tasks.run = [&](std::size_t i) {
      trainUnit(plan_, missing[i], unitFile(folder_, missing[i]));
      return std::string();
    };
    tasks.done = [&](std::size_t, const std::string&) { tell(progress, ++done, units.size()); };
    tasks.wait = [&] { tell(progress, done, units.size()); };
    tasks.name = [&](std::size_t i) { return "unit " + nameOf(plan_, missing[i]); };
    tasks.again = [this](const std::string& line) { repeated_.push_back(line); };
    doTasks(tasks, options_.jobs);
  }

  // Everything is written before the first file of an earlier model is replaced.
  void finish() {
    const std::string scratch = unitsFolder(folder_);
    std::vector<NewFile> files = joinStages(scratch);
    if (description_.following) {
      Stages stages = loadStages(files);
      calibrate(frames_, description_, stages, options_.jobs);
      description_.review = remora::review(frames_, options_, description_, stages, options_.jobs);
    } else {
      description_.review.warnings = warningsOf(plan_.materials[0], examples_, options_);
    }
    const DescriptionFiles texts = formatDescription(description_);
    const auto add = [&](const std::string& name, const std::string& content) {
      files.emplace_back(name, scratch);
      fill(files.back(), content);
    };
    if (description_.following) {
      add(canvasFile(folder_), texts.canvas);
      add(looksFile(folder_), texts.looks);
    }
    add(modelFile(folder_), texts.json);
    NewFile::commitAll(files);
    removeRemains();
    removeUnits(folder_);  // the model is complete, even where some cannot be removed
  }

 private:
  static void tell(const TrainingProgress& progress, std::size_t done, std::size_t total) {
    if (!progress || progress(done, total)) return;
    throw Error(
        format("the training was stopped with %zu of %zu units left: the same call goes on "
               "from there",
               total - done, total));
  }

  void describe(const std::string& mark) {
    description_.mark = mark;
    description_.scale = static_cast<float>(options_.scale);
    description_.seed = options_.seed;
    description_.predictors = options_.predictors;
    description_.generations = options_.generations;
    description_.training_frames = static_cast<int>(examples_.size());
    description_.point_names = namesOf(options_);
    description_.frames = kindOf(examples_);
    for (std::size_t i = 0; i < options_.radii.size(); ++i) {
      description_.stages.push_back({options_.radii[i], options_.steps[i], ""});
    }
  }

  void planPlainly() {
    plan_.scale = description_.scale;
    plan_.materials.push_back(plainMaterial(examples_, plan_.scale));
    for (const float radius : options_.radii) plan_.stages.push_back({radius, 0});
  }

  void planToFollow() {
    float factor = 1.0F;
    for (const PointOptions& point : options_.points) {
      factor = std::max(factor, point.radius_factor);
    }
    Preparation prepared = prepare(frames_, options_.scale, factor * options_.radii.front());
    description_.scale = static_cast<float>(prepared.scale);
    for (const float radius : options_.radii) {
      const int level = levelOfRadius(radius);
      const int reduction = prepared.model.levels[level].factor;
      plan_.stages.push_back(
          {radius / static_cast<float>(reduction), static_cast<std::size_t>(level)});
    }
    for (int level = 0; level < kLevels; ++level) {
      plan_.materials.push_back(
          {std::move(prepared.canvases[level]), std::move(prepared.shapes[level])});
    }
    description_.following = std::move(prepared.model);
  }

  // Joins the units of all stages into files of the model to be: x, y and flat file of each.
  std::vector<NewFile> joinStages(const std::string& scratch) {
    std::vector<NewFile> files;
    for (std::size_t stage = 0; stage < plan_.stages.size(); ++stage) {
      for (int c = 0; c < kCoordinates; ++c) {
        files.emplace_back(bunchFile(folder_, stage, c), scratch);
      }
      files.emplace_back(flatFile(folder_, stage), scratch);
    }
    Tasks tasks;
    tasks.count = plan_.stages.size();
    tasks.run = [&](std::size_t stage) {
      const NewFile* const file = &files[kFilesOfStage * stage];
      for (int c = 0; c < kCoordinates; ++c) joinBunches(unitFiles(stage, c), file[c]);
      writeFlat(file[0].path(), file[1].path(), file[2]);
      return checkOf(readFile(file[2].path()));
    };
    tasks.done = [&](std::size_t stage, const std::string& check) {
      description_.stages[stage].check = check;
    };
    tasks.name = [](std::size_t stage) { return format("stage %zu", stage); };
    doTasks(tasks, options_.jobs);
    return files;
  }

  static Stages loadStages(const std::vector<NewFile>& files) {
    const EngineMessages silence;
    Stages stages;
    for (std::size_t i = kFilesOfStage - 1; i < files.size(); i += kFilesOfStage) {
      stages.push_back(std::make_unique<FastShapeTracker>(files[i].path()));
    }
    return stages;
  }

  std::vector<std::string> unitFiles(std::size_t stage, int coordinate) const {
    std::vector<std::string> files;
    for (std::size_t point = 0; point < plan_.points.size(); ++point) {
      files.push_back(unitFile(folder_, {stage, coordinate, point}));
    }
    return files;
  }

  // An earlier model in the folder may have had more stages, or have been one that follows.
  void removeRemains() const {
    for (std::size_t stage = plan_.stages.size(); fs::exists(flatFile(folder_, stage)); ++stage) {
      fs::remove(flatFile(folder_, stage));
      for (int c = 0; c < kCoordinates; ++c) fs::remove(bunchFile(folder_, stage, c));
    }
    if (description_.following) return;
    fs::remove(canvasFile(folder_));
    fs::remove(looksFile(folder_));
  }

  const std::vector<TrainingFrame>& frames_;
  const std::vector<Example>& examples_;
  const TrainingOptions& options_;
  const std::string& folder_;
  FolderLock lock_;
  TrainingPlan plan_;
  ModelDescription description_;
  std::vector<std::string> repeated_;
};

}  // namespace

TrainingResult train(const std::vector<Example>& examples, const TrainingOptions& options,
                     const std::string& folder, const TrainingProgress& progress) {
  if (examples.empty()) throw Error("there is nothing to train on");
  for (const Example& example : examples) checkExample(example, examples[0]);
  const TrainingOptions chosen = completed(options, examples[0].shape.size());
  for (const Example& example : examples) {
    checkPositions(example, chosen);
    if (chosen.plain) checkSize(example, examples[0]);
  }
  requirePixels(examples);
  const std::string mark = markOf(examples, chosen);
  if (!options.force) {
    const FinishedModel found = findModel(folder, mark, chosen.radii.size());
    if (found == FinishedModel::kOfThisTraining) return {true, readDescription(folder).review, {}};
    if (found == FinishedModel::kOther) {
      throw HoldsOtherModel(folder + " holds a finished model of another training");
    }
  }
  const std::vector<TrainingFrame> frames = complete(examples, namesOf(chosen));
  Training training(frames, examples, chosen, mark, folder);
  training.trainUnits(progress);
  training.finish();
  return {false, training.review(), training.repeated()};
}

}  // namespace remora
