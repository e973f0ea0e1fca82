// Trains a model in units that survive an interruption.
#pragma once

#include <string>
#include <vector>

#include "follow/base/files.h"
#include "common/plan.h"
#include "common/units.h"

namespace remora::tools {

enum class FinishedModel { kNone, kOfThisPlan, kOther };

// Which model the folder holds. One of this plan whose files are not all there, or have changed, is
// none: nothing is lost when it is trained again.
FinishedModel findModel(const TrainingPlan& plan, const std::string& folder);

// A training in a model folder, which no other one enters meanwhile. It goes on from the units that
// one of the same plan left there; units of another plan are discarded. An earlier model stays as
// it is until the new one is finished.
class Training {
 public:
  // Makes the folder where it is missing. The plan must outlive the training.
  Training(const TrainingPlan& plan, const std::string& folder);

  std::size_t numUnits() const { return num_units_; }
  std::size_t numMissing() const { return missing_.size(); }

  // Trains one of the missing units.
  void trainNext();
  // Writes the model, once no unit is missing.
  void finish();

 private:
  const TrainingPlan& plan_;
  std::string folder_;
  FolderLock lock_;
  std::size_t num_units_;
  std::vector<Unit> missing_;  // the next one last
};

}  // namespace remora::tools
