// A training in a model folder: its plan, its units, and the model that is made of them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "follow/base/files.h"
#include "follow/model/description.h"
#include "follow/training/completion.h"
#include "follow/training/plan.h"
#include "follow/training/request.h"
#include "follow/training/units.h"

namespace remora {

// What a training is opened for.
enum class Purpose {
  kUnits,  // to train some
  kModel   // to finish, too
};

// Refers to the frames, examples, request and folder that it is given.
class ModelTraining {
 public:
  ModelTraining(const std::vector<TrainingFrame>& frames, const std::vector<Example>& examples,
                const Request& request, const std::string& folder, Purpose purpose);

  const TrainingPlan& plan() const { return plan_; }
  const Review& review() const { return description_.review; }
  // A line for each unit that was tried again.
  const std::vector<std::string>& repeated() const { return repeated_; }

  // Goes on from those that an earlier call, or somebody else, has left.
  void trainUnits(const std::vector<Unit>& units, UnitsOwner owner,
                  const TrainingProgress& progress);

  // Trains these units, and then those that are missing elsewhere: before all, those that nobody
  // has begun. What somebody has begun and not finished is trained, too, in the end, so nobody
  // waits for a process that is slow or dead.
  void trainUnitsAndHelp(const std::vector<Unit>& units, const TrainingProgress& progress);

  // Throws Error, naming the units that are not there.
  void requireAllUnits() const;

  // Everything is written before the first file of an earlier model is replaced.
  // requires: all units
  void finish();

 private:
  void describe(const std::string& mark);
  void planPlainly();
  void planToFollow(Purpose purpose);
  std::vector<Unit> missingOf(const std::vector<Unit>& units, UnitsOwner owner) const;
  // `train` says of a unit whether it is there now.
  std::vector<Unit> trainEach(const std::vector<Unit>& units, std::size_t done, std::size_t total,
                              const std::function<bool(const Unit&)>& train,
                              const TrainingProgress& progress);
  std::vector<NewFile> joinStages(const std::string& scratch);
  std::vector<std::string> unitFiles(std::size_t stage, int coordinate) const;
  void removeRemains() const;

  const std::vector<TrainingFrame>& frames_;
  const std::vector<Example>& examples_;
  const TrainingOptions& options_;
  const std::string& folder_;
  TrainingPlan plan_;
  ModelDescription description_;
  std::vector<std::string> repeated_;
};

}  // namespace remora
