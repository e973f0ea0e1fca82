#include "follow/training/model_training.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "follow/base/engine_messages.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/error.h"
#include "follow/model/loaded_model.h"
#include "follow/training/calibration.h"
#include "follow/training/joining.h"
#include "follow/training/preparation.h"
#include "follow/training/review.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFilesOfStage = 3;

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

void tell(const TrainingProgress& progress, std::size_t done, std::size_t total) {
  if (!progress || progress(done, total)) return;
  throw Error(
      format("the training was stopped with %zu of %zu units left: the same call goes on "
             "from there",
             total - done, total));
}

Stages loadStages(const std::vector<NewFile>& files) {
  const EngineMessages silence;
  Stages stages;
  for (std::size_t i = kFilesOfStage - 1; i < files.size(); i += kFilesOfStage) {
    stages.push_back(std::make_unique<FastShapeTracker>(files[i].path()));
  }
  return stages;
}

}  // namespace

ModelTraining::ModelTraining(const std::vector<TrainingFrame>& frames,
                             const std::vector<Example>& examples, const Request& request,
                             const std::string& folder, Purpose purpose)
    : frames_(frames), examples_(examples), options_(request.options), folder_(folder) {
  describe(request.mark);
  plan_.generations = options_.generations;
  plan_.seed = options_.seed;
  plan_.points = options_.points;
  plan_.origin = originOf(examples, options_);
  options_.plain ? planPlainly() : planToFollow(purpose);
}

void ModelTraining::trainUnits(const std::vector<Unit>& units, UnitsOwner owner,
                               const TrainingProgress& progress) {
  openUnits(plan_, folder_, owner);
  const std::vector<Unit> missing = missingOf(units, owner);
  trainEach(
      missing, units.size() - missing.size(), units.size(),
      [&](const Unit& unit) {
        // Somebody may have made it meanwhile.
        const bool is_there =
            owner == UnitsOwner::kMany && stateOf(plan_, unit, folder_) == UnitState::kTrained;
        if (!is_there) trainUnit(plan_, unit, folder_);
        return true;
      },
      progress);
}

void ModelTraining::trainUnitsAndHelp(const std::vector<Unit>& units,
                                      const TrainingProgress& progress) {
  openUnits(plan_, folder_, UnitsOwner::kMany);
  std::vector<Unit> order = listUnits(plan_);
  const std::size_t total = order.size();
  // Helpers begin in different places.
  if (!units.empty()) {
    std::rotate(order.begin(), std::find(order.begin(), order.end(), units.front()), order.end());
  }
  std::stable_partition(order.begin(), order.end(), [&](const Unit& unit) {
    return std::find(units.begin(), units.end(), unit) != units.end();
  });
  const std::vector<Unit> missing = missingOf(order, UnitsOwner::kMany);
  const auto is_there = [&](const Unit& unit) {
    return stateOf(plan_, unit, folder_) == UnitState::kTrained;
  };
  const std::vector<Unit> begun = trainEach(
      missing, total - missing.size(), total,
      [&](const Unit& unit) {
        if (is_there(unit)) return true;
        if (!beginUnit(unit, folder_)) return false;
        trainUnit(plan_, unit, folder_);
        return true;
      },
      progress);
  trainEach(
      begun, total - begun.size(), total,
      [&](const Unit& unit) {
        if (!is_there(unit)) trainUnit(plan_, unit, folder_);
        return true;
      },
      progress);
}

std::vector<Unit> ModelTraining::trainEach(const std::vector<Unit>& units, std::size_t done,
                                           std::size_t total,
                                           const std::function<bool(const Unit&)>& train,
                                           const TrainingProgress& progress) {
  std::vector<Unit> left;
  tell(progress, done, total);
  Tasks tasks;
  tasks.count = units.size();
  tasks.run = [&](std::size_t i) { return std::string(train(units[i]) ? "trained" : ""); };
  tasks.done = [&](std::size_t i, const std::string& result) {
    if (result.empty()) {
      left.push_back(units[i]);
    } else {
      tell(progress, ++done, total);
    }
  };
  tasks.wait = [&] { tell(progress, done, total); };
  tasks.name = [&](std::size_t i) { return "unit " + nameOf(plan_, units[i]); };
  tasks.again = [this](const std::string& line) { repeated_.push_back(line); };
  doTasks(tasks, options_.jobs);
  return left;
}

std::vector<Unit> ModelTraining::missingOf(const std::vector<Unit>& units, UnitsOwner owner) const {
  std::vector<Unit> missing;
  for (const Unit& unit : units) {
    const UnitState state = stateOf(plan_, unit, folder_);
    if (state == UnitState::kTrained) continue;
    if (state == UnitState::kForeign && owner == UnitsOwner::kMany) {
      throw Error(strangenessOf(plan_, unit, folder_));
    }
    missing.push_back(unit);
  }
  return missing;
}

void ModelTraining::requireAllUnits() const {
  requireUnits(plan_, folder_);
  const std::vector<Unit> units = listUnits(plan_);
  std::vector<std::size_t> missing;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const UnitState state = stateOf(plan_, units[i], folder_);
    if (state == UnitState::kForeign) throw Error(strangenessOf(plan_, units[i], folder_));
    if (state == UnitState::kMissing) missing.push_back(i);
  }
  if (missing.empty()) return;
  throw Error(format("%zu of %zu units are missing in %s, or not whole: %s", missing.size(),
                     units.size(), unitsFolder(folder_).c_str(), rangesOf(missing).c_str()));
}

void ModelTraining::finish() {
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

void ModelTraining::describe(const std::string& mark) {
  description_.mark = mark;
  description_.scale = static_cast<float>(options_.scale);
  description_.seed = options_.seed;
  description_.predictors = options_.predictors;
  description_.generations = options_.generations;
  description_.training_frames = static_cast<int>(examples_.size());
  description_.point_names = namesOf(options_);
  description_.frames = kindOf(examples_);
  for (std::size_t i = 0; i < options_.radii.size(); ++i) {
    const float radius = options_.radii[i];
    description_.stages.push_back({radius, options_.steps[i], "", levelOfRadius(radius)});
  }
}

void ModelTraining::planPlainly() {
  plan_.scale = description_.scale;
  plan_.materials.push_back(plainMaterial(examples_, plan_.scale));
  for (const float radius : options_.radii) plan_.stages.push_back({radius, 0});
}

void ModelTraining::planToFollow(Purpose purpose) {
  float factor = 1.0F;
  for (const PointOptions& point : options_.points) {
    factor = std::max(factor, point.radius_factor);
  }
  const Prepared wanted = purpose == Purpose::kModel ? Prepared::kAll : Prepared::kCanvases;
  Preparation prepared = prepare(frames_, options_.scale, factor * options_.radii.front(), wanted);
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

std::vector<NewFile> ModelTraining::joinStages(const std::string& scratch) {
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

std::vector<std::string> ModelTraining::unitFiles(std::size_t stage, int coordinate) const {
  std::vector<std::string> files;
  for (std::size_t point = 0; point < plan_.points.size(); ++point) {
    files.push_back(unitFile(folder_, {stage, coordinate, point}));
  }
  return files;
}

void ModelTraining::removeRemains() const {
  for (std::size_t stage = plan_.stages.size(); fs::exists(flatFile(folder_, stage)); ++stage) {
    fs::remove(flatFile(folder_, stage));
    for (int c = 0; c < kCoordinates; ++c) fs::remove(bunchFile(folder_, stage, c));
  }
  if (description_.following) return;
  fs::remove(canvasFile(folder_));
  fs::remove(looksFile(folder_));
}

}  // namespace remora
