#include "common/cascade.h"

#include "common/failure.h"
#include "follow/base/files.h"
#include "common/streams.h"

namespace remora::tools {
namespace {

std::unique_ptr<FastShapeTracker> loadStage(const std::string& file, std::size_t points,
                                            const std::string& check) {
  requireReadable(file);
  takeMessages();
  auto stage = std::make_unique<FastShapeTracker>(file.c_str());
  const std::string message = lastMessage();
  if (stage->num_points > 0 && !check.empty() && checkOf(file) != check) {
    throw Failure(file +
                  " is not of the training that the model file describes, which may have "
                  "been interrupted: train again");
  }
  if (stage->num_points > 0 && static_cast<std::size_t>(stage->num_points) == points) return stage;
  throw Failure(stage->num_points == 0 && !message.empty()
                    ? message
                    : file + " does not have as many points as the model");
}

}  // namespace

Cascade::Cascade(const std::string& folder, const Model& model) {
  for (std::size_t i = 0; i < model.stages.size(); ++i) {
    stages_.push_back(
        loadStage(flatFile(folder, i), model.point_names.size(), model.stages[i].flat_check));
    steps_.push_back(model.stages[i].steps);
  }
}

std::size_t Cascade::numPoints() const {
  return static_cast<std::size_t>(stages_.front()->num_points);
}

Shape Cascade::positions() const {
  Shape shape;
  for (std::size_t i = 0; i < numPoints(); ++i) {
    const double* const position = stages_.back()->all_pos[i];
    shape.push_back({position[0], position[1]});
  }
  return shape;
}

void Cascade::place(const Shape& shape) {
  for (std::size_t i = 0; i < numPoints(); ++i) {
    stages_.back()->SetPos(static_cast<int>(i), shape[i].x, shape[i].y);
  }
}

void Cascade::track(CImg<float>& canvas) {
  FastShapeTracker* previous = stages_.back().get();
  for (std::size_t i = 0; i < stages_.size(); ++i) {
    stages_[i]->Predict(canvas, previous);
    for (int step = 1; step < steps_[i]; ++step) stages_[i]->Predict(canvas);
    previous = stages_[i].get();
  }
}

}  // namespace remora::tools
