#include "follow/model/loaded_model.h"

#include <sys/mman.h>
#include <unistd.h>

#include <utility>

#include "follow/base/engine_messages.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/model/model.h"

namespace remora {
namespace {

std::unique_ptr<FastShapeTracker> parse(const std::string& file, const std::string& name) {
  EngineMessages messages;
  auto tracker = std::make_unique<FastShapeTracker>(name.c_str());
  if (tracker->num_points > 0) return tracker;
  std::string reason = messages.reason();
  const std::size_t at = reason.find(name);
  if (at != std::string::npos) reason.replace(at, name.size(), file);
  throw Error(reason.empty() ? file + " holds no points" : reason);
}

std::unique_ptr<FastShapeTracker> readStage(const std::string& file, const FileInMemory& content,
                                            std::size_t points) {
  auto tracker = parse(file, content.name());
  if (!content.isAsDescribed()) {
    throw Error(file +
                " is not of the training that the model file describes, which may have been "
                "interrupted: train again");
  }
  if (static_cast<std::size_t>(tracker->num_points) != points) {
    throw Error(file + " does not have as many points as the model");
  }
  return tracker;
}

bool isWithin(const Limits& limits, double value) {
  return value >= limits.least && value <= limits.most;
}

}  // namespace

FileInMemory::FileInMemory(const std::string& content, const std::string& check)
    : descriptor_(memfd_create("stage", MFD_CLOEXEC)),
      is_as_described_(check.empty() || isOfCheck(content, check)) {
  std::size_t done = 0;
  while (descriptor_ >= 0 && done < content.size()) {
    const ssize_t written = write(descriptor_, content.data() + done, content.size() - done);
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  if (done < content.size()) throw Error("there is no room for the model in memory");
}

FileInMemory::FileInMemory(FileInMemory&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), is_as_described_(other.is_as_described_) {}

FileInMemory::~FileInMemory() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::string FileInMemory::name() const { return format("/proc/self/fd/%d", descriptor_); }

LoadedModel::LoadedModel(const std::string& folder, const std::vector<int>& steps)
    : folder_(folder), description_(readDescription(folder)) {
  takeSteps(steps);
  if (description_.following) {
    const FollowingModel& following = *description_.following;
    const Level& fine = following.levels[kFine];
    searcher_ =
        Searcher(following.mean, fine.width, fine.height, maskOf(fine, following.shape.mean()));
  }
  for (std::size_t i = 0; i < description_.stages.size(); ++i) {
    contents_.emplace_back(readFile(flatFile(folder_, i)), description_.stages[i].check);
  }
  idle_.push_back(read());
  const FastShapeTracker& last = *idle_.back()->back();
  for (int p = 0; p < last.num_points; ++p) {
    first_.push_back({last.all_pos[p][0], last.all_pos[p][1]});
  }
}

std::vector<std::string> LoadedModel::files() const {
  std::vector<std::string> files{modelFile(folder_)};
  if (description_.following) {
    files.push_back(canvasFile(folder_));
    files.push_back(looksFile(folder_));
  }
  for (std::size_t i = 0; i < description_.stages.size(); ++i) {
    files.push_back(flatFile(folder_, i));
  }
  return files;
}

void LoadedModel::takeSteps(const std::vector<int>& steps) {
  if (steps.empty()) return;
  if (steps.size() != description_.stages.size()) {
    throw Error(format("%zu numbers of steps for the %zu stages of %s", steps.size(),
                       description_.stages.size(), folder_.c_str()));
  }
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (steps[i] < 1 || steps[i] > kMostSteps) {
      throw Error(format("a stage takes 1 to %d steps", kMostSteps));
    }
    description_.stages[i].steps = steps[i];
  }
}

std::unique_ptr<Stages> LoadedModel::read() const {
  auto stages = std::make_unique<Stages>();
  for (std::size_t i = 0; i < description_.stages.size(); ++i) {
    stages->push_back(
        readStage(flatFile(folder_, i), contents_[i], description_.point_names.size()));
  }
  return stages;
}

LoadedModel::Borrowed::Borrowed(const LoadedModel& model) : model_(model) {
  {
    const std::lock_guard<std::mutex> lock(model.mutex_);
    if (!model.idle_.empty()) {
      stages_ = std::move(model.idle_.back());
      model.idle_.pop_back();
    }
  }
  if (!stages_) stages_ = model.read();
}

LoadedModel::Borrowed::~Borrowed() {
  const std::lock_guard<std::mutex> lock(model_.mutex_);
  model_.idle_.push_back(std::move(stages_));
}

Model::Model(const std::string& folder, const std::vector<int>& steps)
    : loaded_(std::make_shared<LoadedModel>(folder, steps)) {}

std::vector<std::string> Model::files() const { return loaded_->files(); }

std::size_t Model::numPoints() const { return pointNames().size(); }

std::size_t Model::numStages() const { return loaded_->description().stages.size(); }

const std::vector<std::string>& Model::pointNames() const {
  return loaded_->description().point_names;
}

const Review& Model::review() const { return loaded_->description().review; }

std::string Model::noticeOf(const Picture& picture) const {
  const std::optional<FrameKind>& known = loaded_->description().frames;
  if (!known) return "";
  const double white = static_cast<double>(picture.white);
  if (isWithin(known->width, picture.width) && isWithin(known->height, picture.height) &&
      isWithin(known->white, white)) {
    return "";
  }
  const auto only = [](double value) { return Limits{value, value}; };
  return "it is " + describe({only(picture.width), only(picture.height), only(white)}) +
         "; the training frames were " + describe(*known);
}

bool Model::isPlain() const { return !loaded_->description().following; }

}  // namespace remora
