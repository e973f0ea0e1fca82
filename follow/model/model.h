// A trained model, as a host holds it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "follow/export.h"

namespace remora {

class LoadedModel;

// What remora::train wrote into a folder. A value: copies share what was loaded, and any number of
// trackers in any number of threads may use one model.
class REMORA_FOLLOW_EXPORT Model {
 public:
  // Loads a folder. Throws Error, in one line, for one that is missing, damaged or of a version
  // that is not known. `steps` are prediction steps per frame of each stage, in place of those that
  // the model has; at least 1.
  explicit Model(const std::string& folder, const std::vector<int>& steps = {});

  std::size_t numPoints() const;
  std::size_t numStages() const;
  const std::vector<std::string>& pointNames() const;

  // Whether it only predicts in the coordinates of its training frames (remora::TrainingOptions::
  // plain): then there is no confidence, and nothing that is lost is noticed or found.
  bool isPlain() const;

  // The files that it was read from.
  std::vector<std::string> files() const;

  const LoadedModel& loaded() const { return *loaded_; }

 private:
  std::shared_ptr<const LoadedModel> loaded_;
};

}  // namespace remora
