// A trained model, as a host holds it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "follow/export.h"
#include "follow/footage/picture.h"
#include "follow/model/review.h"

namespace remora {

class LoadedModel;

constexpr std::size_t kMostPoints = 10000;
constexpr std::size_t kMostStages = 100;
constexpr int kMostSteps = 1000;  // of a stage, per frame

// What remora::train wrote into a folder. A value: copies share what was loaded, and any number of
// trackers in any number of threads may use one model. One that was moved from may only be assigned
// to or destroyed.
class REMORA_FOLLOW_EXPORT Model {
 public:
  // Loads a folder. What another thread prints to the C stream `stdout` meanwhile is lost: the
  // engine prints there, and is silenced. Throws Error, in one line, for one that is missing,
  // damaged or of a version that is not known. `steps` are prediction steps per frame of each
  // stage, in place of those that the model has; 1 to kMostSteps.
  explicit Model(const std::string& folder, const std::vector<int>& steps = {});

  std::size_t numPoints() const;
  std::size_t numStages() const;
  const std::vector<std::string>& pointNames() const;

  // Whether it only predicts in the coordinates of its training frames (remora::TrainingOptions::
  // plain): then there is no confidence, and nothing that is lost is noticed or found.
  bool isPlain() const;

  // What training said of its annotations in the end; nothing of models of earlier versions.
  const Review& review() const;

  // In one line, how a picture is of another kind than the training frames, whose size and depth
  // the model knows: what was learned there may not hold. Empty where it is not.
  std::string noticeOf(const Picture& picture) const;

  // The files that it was read from.
  std::vector<std::string> files() const;

  const LoadedModel& loaded() const { return *loaded_; }

 private:
  std::shared_ptr<const LoadedModel> loaded_;
};

}  // namespace remora
