#include "follow/tracking/picture_trials.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "follow/canvas/pose.h"

namespace remora {
namespace {

constexpr std::size_t kNearPlaces = 3;
constexpr std::size_t kPlacesAnywhere = 8;
constexpr double kEnough = 0.7;          // quality that ends the trials of a near search
constexpr double kMoreThanEnough = 0.9;  // and of one everywhere
constexpr double kAnywhere = 1e7;        // pixels
constexpr std::size_t kFewPoints = 2;    // that cannot agree on much: what is around them must
constexpr double kLikeness = 0.8;        // correlation
constexpr double kNearShare = 1.0;       // attempts that a limited near search may cost
constexpr double kMoved = 1.0;           // sizes that a shape may move while a sweep ends
constexpr double kRefining = 0.5;        // attempts that it costs to see where it moved, about
constexpr double kSamplesOfOne = 25.0;   // of a search, that take as long as one of a step
constexpr double kLeastSamples = 1e5;    // of an attempt: for a small model search is not cheaper

}  // namespace

PictureTrials::PictureTrials(const LoadedModel& model, Attempts& attempts, Sweep& sweep,
                             const GreyView& picture, int most)
    : model_(model),
      following_(*model.description().following),
      attempts_(attempts),
      sweep_(sweep),
      picture_(picture),
      limited_(most > 0),
      left_(limited_ ? most : std::numeric_limits<double>::infinity()) {}

void PictureTrials::from(const Start& start, Outcome& outcome) {
  left_ -= 1.0;
  attempts_.run(picture_, start, outcome);
}

double PictureTrials::samplesOf(double attempts) const {
  return attempts * kSamplesOfOne * std::max(attempts_.samples(), kLeastSamples);
}

double PictureTrials::pixels(const Affine& pose, double sizes) const {
  return sizes * following_.size * std::sqrt(std::abs(pose.determinant()));
}

void PictureTrials::near(const Start& start, double reach, Outcome& outcome) {
  const std::vector<double> all(start.places.size(), 1.0);
  const Affine pose = fitPose(following_.shape.mean(), start.places, all, following_.usual);
  const Searcher& searcher = model_.searcher();
  const std::vector<Variation>& variations = nearVariations();
  double distance = pixels(pose, reach);
  if (limited_) {
    // As many places as may be compared, in a square.
    const SearchGrid grid = searcher.gridAround(picture_, pose, 0.0);
    const double places =
        samplesOf(kNearShare) / static_cast<double>(searcher.numSamples() * variations.size());
    distance = std::min(distance, 0.5 * grid.step * std::sqrt(places));
    left_ -= kNearShare;
  }
  takeBest(searcher.search(picture_, pose, variations, distance, kNearPlaces), start.light, kEnough,
           outcome);
}

void PictureTrials::anywhere(Outcome& outcome) {
  if (limited_) {
    if (sweep_.best().empty()) {
      sweep_.goOn(model_.searcher(), picture_, following_.usual, samplesOf(left_), kPlacesAnywhere);
      left_ = 0.0;
    } else {
      takeBestOfSweep(outcome);
    }
    return;
  }
  List candidates = model_.searcher().search(picture_, following_.usual, wideVariations(),
                                             kAnywhere, kPlacesAnywhere);
  const auto unlike = [this](const Candidate& candidate) { return !isLike(candidate); };
  candidates.erase(std::remove_if(candidates.begin(), candidates.end(), unlike), candidates.end());
  takeBest(candidates, {}, kMoreThanEnough, outcome);
}

// They were met some frames ago: each is looked for near where it was.
void PictureTrials::takeBestOfSweep(Outcome& best) {
  List& candidates = sweep_.best();
  while (!candidates.empty() && left_ >= 1.0 + kRefining && best.quality < kMoreThanEnough) {
    const Candidate met = candidates.front();
    candidates.erase(candidates.begin());
    if (!isLike(met)) continue;
    left_ -= kRefining;
    takeBest(
        model_.searcher().search(picture_, met.pose, nearVariations(), pixels(met.pose, kMoved), 1),
        {}, kMoreThanEnough, best);
  }
}

bool PictureTrials::isLike(const Candidate& candidate) const {
  return following_.shape.mean().size() > kFewPoints || candidate.correlation >= kLikeness;
}

void PictureTrials::takeBest(const List& candidates, const Brightness& light, double enough,
                             Outcome& best) {
  const Shape& mean = following_.shape.mean();
  const std::vector<double> all(mean.size(), 1.0);
  Outcome outcome;
  for (const Candidate& candidate : candidates) {
    if (isOver() || best.quality >= enough) break;
    const Shape places = candidate.pose(mean);
    from({places, all, light, false}, outcome);
    if (outcome.quality > best.quality) std::swap(outcome, best);
  }
}

}  // namespace remora
