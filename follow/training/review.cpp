#include "follow/training/review.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

#include "follow/base/bytes.h"
#include "follow/base/text.h"
#include "follow/base/workers.h"
#include "follow/tracking/attempt.h"
#include "follow/tracking/following.h"

namespace remora {
namespace {

constexpr double kMadToSigma = 1.4826;  // of a normal distribution
constexpr double kDeviations = 7.0;     // beyond which an annotation disagrees
constexpr double kLeastSpread = 0.012;  // of the shape's size
constexpr double kLeast = 0.08;         // of the shape's size
constexpr std::size_t kFewest = 4;      // frames that can outvote one

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// How far one point of one frame is from where the model has it.
struct Departure {
  std::size_t frame;
  double distance;  // pixels of the frame
  Point place;      // where the model has it
};

std::vector<std::vector<Departure>> departuresOf(const std::vector<TrainingFrame>& frames,
                                                 const ModelDescription& model, Stages& stages,
                                                 int jobs) {
  Attempts attempts(model, stages);
  std::vector<std::string> results(frames.size());
  Tasks tasks;
  tasks.count = frames.size();
  tasks.run = [&](std::size_t i) {
    const TrainingFrame& frame = frames[i];
    const GreyImage& image = frame.image();
    const GreyView view{image.pixels.data(), image.width, image.height, image.width};
    const Outcome outcome = attempts.run(view, {frame.shape, frame.seen, {}, false});
    std::string places;
    for (std::size_t p = 0; p < frame.shape.size(); ++p) {
      const Point& place = outcome.trust[p] >= kTrusted ? outcome.places[p] : outcome.expected[p];
      putBytes(places, place.x);
      putBytes(places, place.y);
    }
    return places;
  };
  tasks.done = [&](std::size_t i, const std::string& result) { results[i] = result; };
  tasks.name = [&](std::size_t i) { return "review of " + frames[i].example->name; };
  doTasks(tasks, jobs);
  std::vector<std::vector<Departure>> departures(model.point_names.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    std::string_view places = results[i];
    for (std::size_t p = 0; p < departures.size(); ++p) {
      const auto x = takeBytes<double>(places);
      const Point place{x, takeBytes<double>(places)};
      if (!frames[i].isSeen(p)) continue;
      departures[p].push_back({i, std::sqrt(squaredDistance(place, frames[i].shape[p])), place});
    }
  }
  return departures;
}

std::vector<double> distancesOf(const std::vector<Departure>& departures) {
  std::vector<double> distances;
  for (const Departure& departure : departures) distances.push_back(departure.distance);
  return distances;
}

double spreadOf(const std::vector<double>& values, double median) {
  std::vector<double> off;
  for (const double value : values) off.push_back(std::abs(value - median));
  return kMadToSigma * medianOf(std::move(off));
}

}  // namespace

Review review(const std::vector<TrainingFrame>& frames, const ModelDescription& model,
              Stages& stages, int jobs) {
  Review result;
  const std::vector<std::vector<Departure>> departures = departuresOf(frames, model, stages, jobs);
  for (std::size_t p = 0; p < departures.size(); ++p) {
    const std::vector<double> distances = distancesOf(departures[p]);
    const double median = medianOf(distances);
    result.residuals.push_back(median);
    if (distances.size() < kFewest) continue;
    const double spread = spreadOf(distances, median);
    for (const Departure& departure : departures[p]) {
      const double size = sizeOf(frames[departure.frame].shape);
      const double limit = median + kDeviations * std::max(spread, kLeastSpread * size);
      if (departure.distance <= std::max(limit, kLeast * size)) continue;
      result.disagreements.push_back(
          {frames[departure.frame].example->name, p, departure.distance, departure.place});
    }
  }
  return result;
}

}  // namespace remora
