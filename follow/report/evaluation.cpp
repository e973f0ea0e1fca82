#include "follow/report/evaluation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <sstream>

#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"
#include "follow/report/comparison.h"

namespace remora {
namespace {

constexpr std::size_t kBins = 10;
constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

double quantile(const std::vector<double>& sorted, double share) {
  const double rank = share * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(rank);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  const double between = rank - static_cast<double>(below);
  if (between == 0.0 || sorted[below] == sorted[above]) return sorted[below];  // perhaps infinite
  return sorted[below] + between * (sorted[above] - sorted[below]);
}

ErrorSummary summarise(std::vector<double> errors, double lost_limit) {
  std::sort(errors.begin(), errors.end());
  double total = 0.0;
  for (const double error : errors) total += error;
  const auto lost = errors.end() - std::upper_bound(errors.begin(), errors.end(), lost_limit);
  const auto count = static_cast<double>(errors.size());
  return {errors.size(),          total / count,
          quantile(errors, 0.5),  quantile(errors, 0.9),
          quantile(errors, 0.95), quantile(errors, 0.99),
          errors.back(),          static_cast<double>(lost) / count};
}

// The mean rank of good positions among all, ties shared (H. B. Mann and D. R. Whitney, "On a test
// of whether one of two random variables is stochastically larger than the other", 1947).
double rocArea(std::vector<Judged> positions) {
  std::sort(positions.begin(), positions.end(),
            [](const Judged& a, const Judged& b) { return a.confidence < b.confidence; });
  double won = 0.0;
  double good = 0.0;
  double not_good = 0.0;
  for (std::size_t i = 0; i < positions.size();) {
    double tied_good = 0.0;
    double tied_not_good = 0.0;
    const double confidence = positions[i].confidence;
    for (; i < positions.size() && positions[i].confidence == confidence; ++i) {
      (positions[i].good ? tied_good : tied_not_good) += 1.0;
    }
    won += tied_good * (not_good + 0.5 * tied_not_good);
    good += tied_good;
    not_good += tied_not_good;
  }
  return good > 0.0 && not_good > 0.0 ? won / (good * not_good) : kUndefined;
}

std::vector<Reliability> reliabilityOf(const std::vector<Judged>& positions) {
  std::vector<Reliability> bins(kBins);
  for (const Judged& position : positions) {
    const auto bin = static_cast<std::size_t>(position.confidence * static_cast<double>(kBins));
    Reliability& into = bins[std::min(bin, kBins - 1)];
    ++into.count;
    into.confidence += position.confidence;
    into.close += position.close ? 1.0 : 0.0;
  }
  for (Reliability& bin : bins) {
    if (bin.count == 0) continue;
    bin.confidence /= static_cast<double>(bin.count);
    bin.close /= static_cast<double>(bin.count);
  }
  return bins;
}

std::optional<Separation> separationOf(const std::vector<Judged>& positions, double lost_limit) {
  const auto knows = [](const Judged& position) { return !std::isnan(position.confidence); };
  if (!std::all_of(positions.begin(), positions.end(), knows)) return std::nullopt;
  Separation result;
  std::size_t marked_good = 0;
  std::size_t marked_not_good = 0;
  std::vector<double> tracked;
  for (const Judged& position : positions) {
    ++(position.good ? result.good : result.not_good);
    if (position.marked) ++(position.good ? marked_good : marked_not_good);
    if (!position.marked) tracked.push_back(position.error);
  }
  const auto share = [](std::size_t part, std::size_t whole) {
    return whole == 0 ? kUndefined : static_cast<double>(part) / static_cast<double>(whole);
  };
  result.roc_area = rocArea(positions);
  result.marked_good = share(marked_good, result.good);
  result.marked_not_good = share(marked_not_good, result.not_good);
  if (!tracked.empty()) result.tracked = summarise(std::move(tracked), lost_limit);
  result.reliability = reliabilityOf(positions);
  return result;
}

}  // namespace

std::set<std::pair<int, std::size_t>> readHidden(const std::string& file, int first_frame) {
  std::set<std::pair<int, std::size_t>> hidden;
  std::istringstream in(readText(file));
  long number = 1;
  for (auto line = nextLine(in); line; line = nextLine(in), ++number) {
    for (const std::string& word : words(*line)) {
      const auto point = toNumber<int>(word);
      if (!point || *point < 0) {
        throw Error(format("%s, line %ld: %s is not the index of a point", file.c_str(), number,
                           word.c_str()));
      }
      hidden.emplace(first_frame + static_cast<int>(number) - 1, *point);
    }
  }
  return hidden;
}

Evaluation evaluationOf(const std::vector<Judged>& positions, const std::vector<std::string>& names,
                        double lost_limit) {
  Evaluation result;
  result.lost_limit = lost_limit;
  std::vector<double> all;
  std::vector<std::vector<double>> errors(names.size());  // of each point
  std::set<std::size_t> frames;
  for (const Judged& position : positions) {
    all.push_back(position.error);
    errors[position.point].push_back(position.error);
    frames.insert(position.index);
  }
  result.frames = frames.size();
  result.all = summarise(std::move(all), lost_limit);
  for (std::size_t p = 0; p < errors.size(); ++p) {
    if (errors[p].empty()) continue;  // known nowhere
    result.names.push_back(names[p]);
    result.points.push_back(summarise(std::move(errors[p]), lost_limit));
  }
  result.separation = separationOf(positions, lost_limit);
  return result;
}

Evaluation evaluate(const Tracks& tracks, Truth truth, double lost_limit,
                    const FrameChoice& choice) {
  return evaluationOf(compare(tracks, std::move(truth), lost_limit, choice), tracks.names,
                      lost_limit);
}

}  // namespace remora
