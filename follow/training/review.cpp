#include "follow/training/review.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "follow/base/bytes.h"
#include "follow/base/median.h"
#include "follow/base/workers.h"
#include "follow/tracking/attempt.h"
#include "follow/tracking/following.h"
#include "follow/training/preparation.h"
#include "follow/training/suspicions.h"

namespace remora {
namespace {

constexpr double kMadToSigma = 1.4826;  // of a normal distribution
constexpr double kDeviations = 7.0;     // beyond which an annotation disagrees
constexpr double kLeastSpread = 0.012;  // of the shape's size
constexpr double kLeast = 0.08;         // of the shape's size
constexpr std::size_t kFewest = 4;      // frames that can outvote one

// How far one point of one frame is from where the model has it.
struct Departure {
  std::size_t frame;
  double distance;  // pixels of the frame
  Point place;      // where the model has it
};

// What the model says of a frame, found out in any process.
struct Reading {
  Shape places;         // where it has the points
  double before = 0.0;  // median distance of the annotations from where it has the points in the
  double after = 0.0;   // pictures of the neighbours
};

double medianDistance(const Shape& places, const TrainingFrame& frame) {
  std::vector<double> distances;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (frame.isSeen(p)) {
      distances.push_back(std::sqrt(squaredDistance(places[p], frame.shape[p])));
    }
  }
  return medianOf(std::move(distances));
}

Shape placesIn(Attempts& attempts, const GreyImage& image, const TrainingFrame& frame) {
  const GreyView view{image.pixels.data(), image.width, image.height, image.width};
  const Outcome outcome = attempts.run(view, {frame.shape, frame.seen, {}, false});
  Shape places = outcome.places;
  for (std::size_t p = 0; p < places.size(); ++p) {
    if (outcome.trust[p] < kTrusted) places[p] = outcome.expected[p];
  }
  return places;
}

double distanceIn(Attempts& attempts, const GreyImage& neighbour, const TrainingFrame& frame) {
  if (neighbour.pixels.empty()) return FrameReading::kUnknown;
  return medianDistance(placesIn(attempts, neighbour, frame), frame);
}

std::string readingOf(Attempts& attempts, const TrainingFrame& frame) {
  std::string bytes;
  for (const Point& place : placesIn(attempts, *ExamplePicture(*frame.example), frame)) {
    putBytes(bytes, place.x);
    putBytes(bytes, place.y);
  }
  putBytes(bytes, distanceIn(attempts, frame.example->before, frame));
  putBytes(bytes, distanceIn(attempts, frame.example->after, frame));
  return bytes;
}

Reading parseReading(std::string_view bytes, std::size_t points) {
  Reading reading;
  for (std::size_t p = 0; p < points; ++p) {
    const auto x = takeBytes<double>(bytes);
    reading.places.push_back({x, takeBytes<double>(bytes)});
  }
  reading.before = takeBytes<double>(bytes);
  reading.after = takeBytes<double>(bytes);
  return reading;
}

std::vector<Reading> readAll(const std::vector<TrainingFrame>& frames,
                             const ModelDescription& model, Stages& stages, int jobs) {
  Attempts attempts(model, stages);
  std::vector<Reading> readings(frames.size());
  Tasks tasks;
  tasks.count = frames.size();
  tasks.run = [&](std::size_t i) { return readingOf(attempts, frames[i]); };
  tasks.done = [&](std::size_t i, const std::string& result) {
    readings[i] = parseReading(result, model.point_names.size());
  };
  tasks.name = [&](std::size_t i) { return "review of " + frames[i].example->name; };
  doTasks(tasks, jobs);
  return readings;
}

// Of each point.
std::vector<std::vector<Departure>> departuresOf(const std::vector<TrainingFrame>& frames,
                                                 const std::vector<Reading>& readings) {
  std::vector<std::vector<Departure>> departures(readings[0].places.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    for (std::size_t p = 0; p < departures.size(); ++p) {
      if (!frames[i].isSeen(p)) continue;
      const Point& place = readings[i].places[p];
      departures[p].push_back({i, std::sqrt(squaredDistance(place, frames[i].shape[p])), place});
    }
  }
  return departures;
}

// As the search for faults that many annotations share wants to know it.
FrameReading summaryOf(const TrainingFrame& frame, const Reading& reading) {
  std::vector<double> dx;
  std::vector<double> dy;
  for (std::size_t p = 0; p < reading.places.size(); ++p) {
    if (!frame.isSeen(p)) continue;
    const Point offset = reading.places[p] - frame.shape[p];
    dx.push_back(offset.x);
    dy.push_back(offset.y);
  }
  return {frame.example->name,
          {medianOf(std::move(dx)), medianOf(std::move(dy))},
          medianDistance(reading.places, frame),
          reading.before,
          reading.after};
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

// The annotations of a point that all others speak against.
void addDisagreements(const std::vector<TrainingFrame>& frames,
                      const std::vector<Departure>& departures, std::size_t point, Review& review) {
  if (departures.size() < kFewest) return;
  const double median = review.residuals[point];
  const double spread = spreadOf(distancesOf(departures), median);
  for (const Departure& departure : departures) {
    const double size = sizeOf(frames[departure.frame].shape);
    const double limit = median + kDeviations * std::max(spread, kLeastSpread * size);
    if (departure.distance <= std::max(limit, kLeast * size)) continue;
    review.disagreements.push_back(
        {frames[departure.frame].example->name, point, departure.distance, departure.place});
  }
}

// Points that the model tells much worse than the others.
std::vector<std::size_t> hardOnes(const std::vector<double>& residuals) {
  constexpr double kTimes = 2.0;      // the median of all
  constexpr double kLeastHard = 0.4;  // pixels
  std::vector<std::size_t> hard;
  const double limit = std::max(kTimes * medianOf(residuals), kLeastHard);
  for (std::size_t p = 0; p < residuals.size(); ++p) {
    if (residuals[p] > limit) hard.push_back(p);
  }
  return hard;
}

// How alike the points look in all frames: the median of the points.
double likenessOf(const FollowingModel& model) {
  std::vector<double> usual;
  for (const Look& look : model.looks[kFine]) usual.push_back(look.usual);
  return medianOf(std::move(usual));
}

bool isInside(const Point& at, const GreyImage& image) {
  return at.x >= 0.0 && at.x < image.width && at.y >= 0.0 && at.y < image.height;
}

std::vector<TrainingFrame> withSwappedAxes(std::vector<TrainingFrame> frames) {
  for (TrainingFrame& frame : frames) {
    for (Point& at : frame.shape) at = {at.y, at.x};
  }
  return frames;
}

// Whether what was hardly learned looks much more alike from frame to frame with x and y swapped.
bool seemSwapped(const std::vector<TrainingFrame>& frames, const TrainingOptions& options,
                 const ModelDescription& model, const std::vector<double>& residuals) {
  constexpr double kPoor = 0.02;  // residual, of the shape's size
  constexpr double kShare = 0.4;  // of what the points lack of looking alike
  if (medianOf(residuals) < kPoor * sizeOf(frames[0].shape)) return false;
  const std::vector<TrainingFrame> swapped = withSwappedAxes(frames);
  for (const TrainingFrame& frame : swapped) {
    for (const Point& at : frame.shape) {
      if (!isInside(at, frame.example->image)) return false;
    }
  }
  const Preparation prepared = prepare(swapped, options.scale, options.radii.front());
  return 1.0 - likenessOf(prepared.model) < kShare * (1.0 - likenessOf(*model.following));
}

}  // namespace

Review review(const std::vector<TrainingFrame>& frames, const TrainingOptions& options,
              const ModelDescription& model, Stages& stages, int jobs) {
  Review result;
  const std::vector<Reading> readings = readAll(frames, model, stages, jobs);
  for (const std::vector<Departure>& departures : departuresOf(frames, readings)) {
    const std::size_t point = result.residuals.size();
    result.residuals.push_back(medianOf(distancesOf(departures)));
    addDisagreements(frames, departures, point, result);
  }
  result.hard = hardOnes(result.residuals);
  std::vector<FrameReading> summaries;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    summaries.push_back(summaryOf(frames[i], readings[i]));
  }
  result.warnings = sharedFaults(summaries);
  if (seemSwapped(frames, options, model, result.residuals)) {
    result.warnings.emplace_back(
        "the pictures of the points hardly agree from frame to frame, and do with x and y swapped: "
        "the columns may be");
  }
  for (std::string& line : poorMaterial(frames, options, model)) {
    result.warnings.push_back(std::move(line));
  }
  return result;
}

}  // namespace remora
