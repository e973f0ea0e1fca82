// A training in a model folder: its plan, its units, and the model that is made of them.
#pragma once

#include <string>
#include <vector>

#include "follow/base/files.h"
#include "follow/model/description.h"
#include "follow/training/completion.h"
#include "follow/training/plan.h"
#include "follow/training/request.h"
#include "follow/training/units.h"

namespace remora {

// Refers to the frames, examples, request and folder that it is given.
class ModelTraining {
 public:
  ModelTraining(const std::vector<TrainingFrame>& frames, const std::vector<Example>& examples,
                const Request& request, const std::string& folder);

  const TrainingPlan& plan() const { return plan_; }
  const Review& review() const { return description_.review; }
  // A line for each unit that was tried again.
  const std::vector<std::string>& repeated() const { return repeated_; }

  // Goes on from those that an earlier call, or somebody else, has left.
  void trainUnits(const std::vector<Unit>& units, UnitsOwner owner,
                  const TrainingProgress& progress);

  // Throws Error, naming the units that are not there.
  void requireAllUnits() const;

  // Everything is written before the first file of an earlier model is replaced.
  // requires: all units
  void finish();

 private:
  void describe(const std::string& mark);
  void planPlainly();
  void planToFollow();
  std::vector<Unit> missingOf(const std::vector<Unit>& units, UnitsOwner owner) const;
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
