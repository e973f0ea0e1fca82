#include "follow/training/request.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>

#include "follow/annotation/annotations.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/model/loaded_model.h"
#include "follow/training/plan.h"
#include "follow/training/units.h"

namespace remora {
namespace {

namespace fs = std::filesystem;

void checkExample(const Example& example, const Example& first) {
  const GreyImage& image = example.image;
  const std::size_t pixels =
      static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  if (image.width < 2 || image.height < 2 || (!example.load && image.pixels.size() != pixels)) {
    throw Error(example.name + ": not a picture of at least 2 x 2 pixels");
  }
  if (example.shape.size() != first.shape.size() || example.shape.empty()) {
    throw Error(format("%s has %zu points, %s has %zu", example.name.c_str(), example.shape.size(),
                       first.name.c_str(), first.shape.size()));
  }
}

// Positions that somebody has divided by the size of the picture.
void requirePixels(const std::vector<Example>& examples) {
  bool any = false;
  for (const Example& example : examples) {
    for (const Point& at : example.shape) {
      if (at.x > 1.0 || at.y > 1.0) return;
      any = any || isSeen(at);
    }
  }
  if (!any) return;  // which is refused elsewhere
  throw Error(examples[0].name +
              ": no position is beyond 1, here and elsewhere; they must be pixels, not shares of "
              "width and height");
}

// What an annotation that lies outside may have gone through.
const char* suspicionOf(const Example& example) {
  const auto fits = [&example](const Point& at) {
    return std::isnan(at.x) || std::isnan(at.y) ||
           (at.x >= 0.0 && at.x < example.image.height && at.y >= 0.0 &&
            at.y < example.image.width);
  };
  const bool swapped = std::all_of(example.shape.begin(), example.shape.end(), fits);
  return swapped ? "; x and y may be swapped" : "";
}

void checkPositions(const Example& example, const TrainingOptions& options) {
  const GreyImage& image = example.image;
  for (std::size_t p = 0; p < example.shape.size(); ++p) {
    const Point& at = example.shape[p];
    if (std::isnan(at.x) || std::isnan(at.y)) continue;
    if (at.x >= 0.0 && at.x < image.width && at.y >= 0.0 && at.y < image.height) continue;
    throw Error(format("point %zu (%s) at (%.2f, %.2f) lies outside frame %s, %d x %d%s", p,
                       options.points[p].name.c_str(), at.x, at.y, example.name.c_str(),
                       image.width, image.height, suspicionOf(example)));
  }
}

void checkSize(const Example& example, const Example& first) {
  const GreyImage& image = example.image;
  if (image.width == first.image.width && image.height == first.image.height) return;
  throw Error(format("frame %s is %d x %d, frame %s is %d x %d: a plain model wants one size",
                     example.name.c_str(), image.width, image.height, first.name.c_str(),
                     first.image.width, first.image.height));
}

enum class FinishedModel { kNone, kOfThisTraining, kOther };

bool holdsBunches(const std::string& folder, std::size_t stages) {
  for (std::size_t stage = 0; stage < stages; ++stage) {
    for (int c = 0; c < kCoordinates; ++c) {
      if (!fs::exists(bunchFile(folder, stage, c))) return false;
    }
  }
  return true;
}

// One of this training whose files are not all there, or have changed, is none: nothing is lost
// when it is trained again.
FinishedModel findModel(const std::string& folder, const std::string& mark, std::size_t stages) {
  if (!fs::exists(modelFile(folder))) return FinishedModel::kNone;
  if (readMark(folder) != mark) return FinishedModel::kOther;
  try {
    const LoadedModel whole(folder, {});
    if (holdsBunches(folder, stages)) return FinishedModel::kOfThisTraining;
  } catch (const Error&) {
  }
  return FinishedModel::kNone;
}

}  // namespace

Request checked(const std::vector<Example>& examples, const TrainingOptions& options) {
  if (examples.empty()) throw Error("there is nothing to train on");
  for (const Example& example : examples) checkExample(example, examples[0]);
  Request request{completed(options, examples[0].shape.size()), ""};
  for (const Example& example : examples) {
    checkPositions(example, request.options);
    if (request.options.plain) checkSize(example, examples[0]);
  }
  requirePixels(examples);
  request.mark = markOf(examples, request.options);
  return request;
}

bool isFinished(const std::string& folder, const Request& request) {
  const FinishedModel found = findModel(folder, request.mark, request.options.radii.size());
  if (found == FinishedModel::kOther && !request.options.force) {
    throw HoldsOtherModel(folder + " holds a finished model of another training");
  }
  return found == FinishedModel::kOfThisTraining;
}

std::vector<std::string> namesOf(const TrainingOptions& options) {
  std::vector<std::string> names;
  for (const PointOptions& point : options.points) names.push_back(point.name);
  return names;
}

}  // namespace remora
