#include "training_set.h"

#include <cstdlib>

#include "material.h"

namespace remora::bench {
namespace {

constexpr float kRadius = 20.0F;
constexpr int kExamplesPerImage = 85;

}  // namespace

TrainingSet::TrainingSet(int num_images) {
  const auto count = static_cast<std::size_t>(num_images);
  for (std::size_t j = 0; j < count; ++j) {
    images_.push_back(picture(static_cast<std::uint32_t>(j + 1)));
    const auto shift = static_cast<float>(j);
    places_.insert(places_.end(), {300.0F + shift, 200.5F - shift});
  }
  for (std::size_t j = 0; j < count; ++j) {
    image_pointers_.push_back(&images_[j]);
    points_.push_back(&places_[2 * j]);
  }
  for (float*& point : points_) shapes_.push_back(&point);
}

std::unique_ptr<LP_Bunch> TrainingSet::bunch(int predictors) const {
  std::srand(1);
  return std::make_unique<LP_Bunch>(kWidth, kHeight, count(), kExamplesPerImage, 1.0F, predictors,
                                    places_[0], places_[1], kRadius, '\0');
}

std::unique_ptr<ShapeLPTracker> TrainingSet::train(int predictors) {
  std::srand(1);
  return std::make_unique<ShapeLPTracker>(images(), count(), 1.0F, 1, positions(), kRadius,
                                          predictors, '\0', nullptr, 0, 1);
}

}  // namespace remora::bench
