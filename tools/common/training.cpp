#include "common/training.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "common/failure.h"
#include "common/joining.h"

namespace remora::tools {
namespace {

namespace fs = std::filesystem;

FolderLock makeLocked(const std::string& folder) {
  makeFolder(folder);
  return FolderLock(folder);
}

// The contents of model.json, but for the check sums of files.
Model modelOf(const TrainingPlan& plan) {
  Model model;
  model.stages = plan.stages;
  model.scale = plan.scale;
  model.seed = plan.seed;
  model.predictors = plan.predictors;
  model.generations = plan.generations;
  model.training_frames = static_cast<int>(plan.examples.size());
  for (const PointOptions& point : plan.points) model.point_names.push_back(point.name);
  model.plan_mark = markOf(plan);
  return model;
}

bool isWhole(const Model& model, const std::string& folder) {
  for (std::size_t stage = 0; stage < model.stages.size(); ++stage) {
    for (int c = 0; c < kCoordinates; ++c) {
      if (!fs::exists(bunchFile(folder, stage, c))) return false;
    }
    const std::string flat = flatFile(folder, stage);
    if (!fs::exists(flat) || checkOf(flat) != model.stages[stage].flat_check) return false;
  }
  return true;
}

std::vector<std::string> unitFiles(const TrainingPlan& plan, const std::string& folder,
                                   std::size_t stage, int coordinate) {
  std::vector<std::string> files;
  for (std::size_t point = 0; point < plan.points.size(); ++point) {
    files.push_back(unitFile(folder, {stage, coordinate, point}));
  }
  return files;
}

// An earlier model in the folder may have had more stages.
void removeStagesFrom(const std::string& folder, std::size_t stage) {
  for (; fs::exists(flatFile(folder, stage)); ++stage) {
    fs::remove(flatFile(folder, stage));
    for (int c = 0; c < kCoordinates; ++c) fs::remove(bunchFile(folder, stage, c));
  }
}

// Everything is written before the first file of an earlier model is replaced.
void assemble(const TrainingPlan& plan, const std::string& folder) {
  const std::string scratch = unitsFolder(folder);
  std::vector<NewFile> files;
  Model model = modelOf(plan);
  for (std::size_t stage = 0; stage < plan.stages.size(); ++stage) {
    NewFile x(bunchFile(folder, stage, 0), scratch);
    NewFile y(bunchFile(folder, stage, 1), scratch);
    NewFile flat(flatFile(folder, stage), scratch);
    joinBunches(unitFiles(plan, folder, stage, 0), x);
    joinBunches(unitFiles(plan, folder, stage, 1), y);
    writeFlat(x.path(), y.path(), flat);
    model.stages[stage].flat_check = checkOf(flat.path());
    files.push_back(std::move(x));
    files.push_back(std::move(y));
    files.push_back(std::move(flat));
  }
  files.emplace_back(modelFile(folder), scratch);
  fill(files.back(), formatModel(model));
  NewFile::commitAll(files);
  removeStagesFrom(folder, plan.stages.size());
}

}  // namespace

FinishedModel findModel(const TrainingPlan& plan, const std::string& folder) {
  if (!fs::exists(modelFile(folder))) return FinishedModel::kNone;
  Model found;
  try {
    found = readModel(folder);
  } catch (const Failure&) {
    return FinishedModel::kOther;
  }
  Model described = found;
  for (Stage& stage : described.stages) stage.flat_check.clear();
  if (formatModel(described) != formatModel(modelOf(plan))) return FinishedModel::kOther;
  return isWhole(found, folder) ? FinishedModel::kOfThisPlan : FinishedModel::kNone;
}

Training::Training(const TrainingPlan& plan, const std::string& folder)
    : plan_(plan), folder_(folder), lock_(makeLocked(folder)) {
  openUnits(plan, folder);
  const std::vector<Unit> units = listUnits(plan);
  num_units_ = units.size();
  std::copy_if(units.rbegin(), units.rend(), std::back_inserter(missing_),
               [&folder](const Unit& unit) { return !isTrained(unitFile(folder, unit)); });
}

void Training::trainNext() {
  const Unit unit = missing_.back();
  trainUnit(plan_, unit, unitFile(folder_, unit));
  missing_.pop_back();
}

void Training::finish() {
  assemble(plan_, folder_);
  removeUnits(folder_);  // the model is complete, even where some cannot be removed
}

}  // namespace remora::tools
