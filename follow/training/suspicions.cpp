#include "follow/training/suspicions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "follow/base/median.h"
#include "follow/base/text.h"
#include "follow/model/look.h"

namespace remora {
namespace {

std::string fromTo(const FrameReading& first, const FrameReading& last) {
  return first.frame == last.frame ? first.frame : first.frame + " to " + last.frame;
}

// ------------------------------------------------------------------------------ counted from 1

double alongDiagonal(const FrameReading& reading) {
  return 0.5 * (reading.offset.x + reading.offset.y);
}

Point meanOffset(const std::vector<FrameReading>& readings, std::size_t from, std::size_t to) {
  Point sum;
  for (std::size_t i = from; i < to; ++i) sum = sum + readings[i].offset;
  return (1.0 / static_cast<double>(to - from)) * sum;
}

// A model learns from all frames, so both kinds are beside its places: those that count from 1 by
// some tenths of a pixel to one side, the others to the other. The training frames themselves were
// learned, too, and pull their places after them: together it is less than the pixel.
bool areAPixelApart(const Point& lower, const Point& upper) {
  constexpr double kLeast = 0.5, kMost = 1.3, kMostAskew = 0.3;  // pixels
  const Point apart = upper - lower;
  return apart.x > kLeast && apart.x < kMost && apart.y > kLeast && apart.y < kMost &&
         std::abs(apart.x - apart.y) < kMostAskew;
}

std::vector<std::string> countedFromOne(std::vector<FrameReading> readings) {
  constexpr std::size_t kFewest = 2;   // frames of each kind
  constexpr double kLeastGap = 0.25;   // pixels between both kinds
  constexpr double kMostSpread = 1.5;  // gaps
  if (readings.size() < 2 * kFewest) return {};
  const std::vector<FrameReading> in_order = readings;
  std::stable_sort(readings.begin(), readings.end(), [](const auto& a, const auto& b) {
    return alongDiagonal(a) < alongDiagonal(b);
  });
  const auto at = [&readings](std::size_t i) { return alongDiagonal(readings[i]); };
  std::size_t split = kFewest;
  for (std::size_t i = kFewest; i + kFewest <= readings.size(); ++i) {
    if (at(i) - at(i - 1) > at(split) - at(split - 1)) split = i;
  }
  const double gap = at(split) - at(split - 1);
  const double spread = std::max(at(split - 1) - at(0), at(readings.size() - 1) - at(split));
  if (gap < kLeastGap || spread > kMostSpread * gap) return {};
  const Point lower = meanOffset(readings, 0, split);
  const Point upper = meanOffset(readings, split, readings.size());
  if (!areAPixelApart(lower, upper)) return {};
  const double limit = at(split - 1);
  const auto isLow = [limit](const FrameReading& r) { return alongDiagonal(r) <= limit; };
  const auto first = std::find_if(in_order.begin(), in_order.end(), isLow);
  const auto last = std::find_if(in_order.rbegin(), in_order.rend(), isLow);
  return {format("the positions of %zu of %zu frames, from ", split, readings.size()) +
          fromTo(*first, *last) +
          ", are about a pixel to the right of and below those of the others: they may be counted "
          "from 1, and the others from 0"};
}

// ------------------------------------------------------------------------------ of another frame

bool isClearlyLess(double distance, double other) {
  constexpr double kShare = 0.8, kLeast = 0.3;  // pixels
  return distance + kLeast < kShare * other;
}

// The frames in a row whose positions fit the neighbour's picture better than their own, and
// hardly any the other way round.
std::vector<std::string> shifted(const std::vector<FrameReading>& readings,
                                 double FrameReading::*neighbour, const char* where) {
  constexpr int kAgainst = 3;  // what a frame that fits its own picture better counts
  constexpr int kFewest = 3;   // frames
  int sum = 0;
  int best = 0;
  std::size_t start = 0;
  std::size_t first = 0;
  std::size_t last = 0;
  for (std::size_t i = 0; i < readings.size(); ++i) {
    const double other = readings[i].*neighbour;
    if (other == FrameReading::kUnknown) continue;
    if (isClearlyLess(other, readings[i].distance)) {
      if (sum == 0) start = i;
      ++sum;
    } else if (isClearlyLess(readings[i].distance, other)) {
      sum = std::max(sum - kAgainst, 0);
    }
    if (sum <= best) continue;
    best = sum;
    first = start;
    last = i;
  }
  if (best < kFewest) return {};
  return {"the positions of " + fromTo(readings[first], readings[last]) +
          ", at least, fit the pictures of the frames " + where +
          " them better than their own: the numbers of frames may be shifted by one"};
}

// ------------------------------------------------------------------------------ poor material

std::vector<std::string> fewFrames(std::size_t frames) {
  constexpr std::size_t kFew = 8;
  if (frames >= kFew) return {};
  return {format("%zu training frame%s few: ten to twenty that differ do better", frames,
                 frames == 1 ? " is" : "s are")};
}

// Hardly anything has moved, and all points look the same in all frames. Frames in a row do, and a
// model of them follows other frames half as well as one of as many that differ.
bool areAlike(const std::vector<TrainingFrame>& frames, const ModelDescription& model) {
  constexpr double kStill = 0.15;      // of the shape's size
  constexpr double kSameLooks = 0.98;  // correlation
  const Shape& first = frames[0].shape;
  const double still = kStill * sizeOf(first);
  for (const TrainingFrame& frame : frames) {
    for (std::size_t p = 0; p < first.size(); ++p) {
      if (!frame.isSeen(p) || !frames[0].isSeen(p)) continue;
      if (squaredDistance(frame.shape[p], first[p]) > still * still) return false;
    }
  }
  std::vector<double> usual;
  for (const Look& look : model.following->looks[kFine]) usual.push_back(look.usual);
  return medianOf(std::move(usual)) > kSameLooks;
}

std::vector<std::string> alikeFrames(const std::vector<TrainingFrame>& frames,
                                     const ModelDescription& model) {
  if (frames.size() < 2 || !areAlike(frames, model)) return {};
  return {
      "all training frames are alike: what they do not show, other poses, expressions or light, "
      "cannot be learned from them"};
}

std::vector<std::string> flatPoints(const ModelDescription& model) {
  std::vector<std::string> lines;
  const std::vector<Look>& looks = model.following->looks[kFine];
  for (std::size_t p = 0; p < looks.size(); ++p) {
    if (!isFlat(looks[p])) continue;
    lines.push_back(
        format("point %zu (%s): there is hardly any contrast around it, it will not be "
               "recognised",
               p, model.point_names[p].c_str()));
  }
  return lines;
}

// What other programs write of points that nobody has seen.
std::vector<std::string> pointsAtZero(const std::vector<TrainingFrame>& frames,
                                      const ModelDescription& model) {
  std::vector<std::string> lines;
  for (std::size_t p = 0; p < model.point_names.size(); ++p) {
    const auto isAtZero = [p](const TrainingFrame& frame) {
      return frame.isSeen(p) && frame.shape[p].x == 0.0 && frame.shape[p].y == 0.0;
    };
    const auto first = std::find_if(frames.begin(), frames.end(), isAtZero);
    if (first == frames.end()) continue;
    lines.push_back(format("point %zu (%s) is at exactly 0, 0 in %td of %zu frames, first in ", p,
                           model.point_names[p].c_str(),
                           std::count_if(first, frames.end(), isAtZero), frames.size()) +
                    first->example->name +
                    ": where a point is not seen, its position must be empty");
  }
  return lines;
}

std::vector<std::string> wideRadii(const TrainingOptions& options, const ModelDescription& model) {
  std::vector<std::string> lines;
  const double scale = static_cast<double>(model.scale);
  const double side = std::min(model.frames->width.least, model.frames->height.least);
  for (const float radius : options.radii) {
    const double pixels = static_cast<double>(radius) / scale;
    if (2.0 * pixels <= side) continue;
    lines.push_back(
        format("radius %g is %.0f px of the frames, which are %.0f x %.0f px: it reaches "
               "beyond them wherever a point is",
               static_cast<double>(radius), pixels, model.frames->width.least,
               model.frames->height.least));
  }
  return lines;
}

void append(std::vector<std::string>&& more, std::vector<std::string>& lines) {
  for (std::string& line : more) lines.push_back(std::move(line));
}

}  // namespace

std::vector<std::string> sharedFaults(const std::vector<FrameReading>& readings) {
  std::vector<std::string> lines = countedFromOne(readings);
  append(shifted(readings, &FrameReading::before, "before"), lines);
  append(shifted(readings, &FrameReading::after, "behind"), lines);
  return lines;
}

std::vector<std::string> poorMaterial(const std::vector<TrainingFrame>& frames,
                                      const TrainingOptions& options,
                                      const ModelDescription& model) {
  std::vector<std::string> lines = fewFrames(frames.size());
  append(alikeFrames(frames, model), lines);
  append(pointsAtZero(frames, model), lines);
  append(flatPoints(model), lines);
  append(wideRadii(options, model), lines);
  return lines;
}

}  // namespace remora
