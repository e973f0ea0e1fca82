#include "follow/training/training.h"

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/model/description.h"
#include "follow/training/completion.h"
#include "follow/training/model_training.h"
#include "follow/training/plan.h"
#include "follow/training/request.h"
#include "follow/training/units.h"

namespace remora {
namespace {

FolderLock makeLocked(const std::string& folder) {
  makeFolder(folder);
  return FolderLock(folder);
}

// Of a model that was there.
TrainingResult resultOf(const std::string& folder) {
  return {true, readDescription(folder).review, {}};
}

}  // namespace

TrainingResult train(const std::vector<Example>& examples, const TrainingOptions& options,
                     const std::string& folder, const TrainingProgress& progress) {
  const Request request = checked(examples, options);
  if (!options.force && isFinished(folder, request)) return resultOf(folder);
  const std::vector<TrainingFrame> frames = complete(examples, namesOf(request.options));
  const FolderLock lock = makeLocked(folder);
  ModelTraining training(frames, examples, request, folder, Purpose::kModel);
  training.trainUnits(listUnits(training.plan()), UnitsOwner::kOneProcess, progress);
  training.finish();
  return {false, training.review(), training.repeated()};
}

std::size_t unitCount(const std::vector<Example>& examples, const TrainingOptions& options) {
  if (examples.empty()) throw Error("there is nothing to train on");
  const TrainingOptions chosen = completed(options, examples[0].shape.size());
  return chosen.radii.size() * kCoordinates * chosen.points.size();
}

TrainingResult trainUnits(const std::vector<Example>& examples, const TrainingOptions& options,
                          const std::string& folder, const std::vector<std::size_t>& units,
                          const TrainingProgress& progress, Others others) {
  const Request request = checked(examples, options);
  const std::size_t count = unitCount(examples, options);
  for (const std::size_t unit : units) {
    if (unit < count) continue;
    throw Error(format("there is no unit %zu: this training has units 0 to %zu", unit, count - 1));
  }
  if (isFinished(folder, request)) return resultOf(folder);
  const std::vector<TrainingFrame> frames = complete(examples, namesOf(request.options));
  ModelTraining training(frames, examples, request, folder, Purpose::kUnits);
  const std::vector<Unit> all = listUnits(training.plan());
  std::vector<Unit> asked;
  for (const std::size_t unit : units) asked.push_back(all[unit]);
  try {
    if (others == Others::kHelped) {
      training.trainUnitsAndHelp(asked, progress);
    } else {
      training.trainUnits(asked, UnitsOwner::kMany, progress);
    }
  } catch (const Error&) {
    // Somebody else had made these, too, and the model is there already.
    if (!isFinished(folder, request)) throw;
    return resultOf(folder);
  }
  return {false, {}, training.repeated()};
}

TrainingResult joinUnits(const std::vector<Example>& examples, const TrainingOptions& options,
                         const std::string& folder) {
  const Request request = checked(examples, options);
  if (isFinished(folder, request)) return resultOf(folder);
  const std::vector<TrainingFrame> frames = complete(examples, namesOf(request.options));
  ModelTraining training(frames, examples, request, folder, Purpose::kModel);
  training.requireAllUnits();
  training.finish();
  return {false, training.review(), training.repeated()};
}

}  // namespace remora
