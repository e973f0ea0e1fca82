#include "follow/report/evaluation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "follow/annotation/recording.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/error.h"

namespace remora {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kBins = 10;
constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

double distance(const TrackedPoint& a, const Point& b) {
  const double length = std::hypot(a.x - b.x, a.y - b.y);
  return std::isnan(length) ? std::numeric_limits<double>::infinity() : length;
}

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

// A position with all that it is judged by.
struct Judged {
  double error;
  double confidence;
  bool marked;
  bool good;
  bool close;
};

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

std::string tableRow(const std::string& name, const ErrorSummary& errors) {
  return format("%-16s %7zu %8.3f %8.3f %8.3f %8.3f %8.3f %8.3f %7.2f %%\n", name.c_str(),
                errors.count, errors.mean, errors.median, errors.p90, errors.p95, errors.p99,
                errors.worst, 100.0 * errors.lost);
}

std::string percentage(double share) {
  return std::isnan(share) ? "-" : format("%.2f %%", 100.0 * share);
}

std::string formatSeparation(const Separation& separation) {
  std::string text = format(
      "\nconfidence against good positions: ROC area %s\n"
      "hidden or lost: %zu, marked as occluded or lost: %s\n"
      "good: %zu, marked falsely: %s\n",
      std::isnan(separation.roc_area) ? "-" : format("%.4f", separation.roc_area).c_str(),
      separation.not_good, percentage(separation.marked_not_good).c_str(), separation.good,
      percentage(separation.marked_good).c_str());
  text += "confidence      count     mean  within 5 % of the shape's size\n";
  for (std::size_t i = 0; i < separation.reliability.size(); ++i) {
    const Reliability& bin = separation.reliability[i];
    if (bin.count == 0) continue;
    text += format("%.1f - %.1f    %7zu %8.3f %8.3f\n", 0.1 * static_cast<double>(i),
                   0.1 * static_cast<double>(i + 1), bin.count, bin.confidence, bin.close);
  }
  return text;
}

Json toJson(double distance) { return std::isfinite(distance) ? Json(distance) : Json("inf"); }
Json shareToJson(double share) { return std::isnan(share) ? Json() : Json(share); }

Json toJson(const ErrorSummary& errors) {
  return {{"count", errors.count},           {"mean", toJson(errors.mean)},
          {"median", toJson(errors.median)}, {"p90", toJson(errors.p90)},
          {"p95", toJson(errors.p95)},       {"p99", toJson(errors.p99)},
          {"worst", toJson(errors.worst)},   {"lost", errors.lost}};
}

Json toJson(const Separation& separation) {
  Json bins = Json::array();
  for (const Reliability& bin : separation.reliability) {
    bins.push_back({{"count", bin.count}, {"confidence", bin.confidence}, {"close", bin.close}});
  }
  return {{"roc_area", shareToJson(separation.roc_area)},
          {"hidden_or_lost", separation.not_good},
          {"marked", shareToJson(separation.marked_not_good)},
          {"good", separation.good},
          {"marked_falsely", shareToJson(separation.marked_good)},
          {"tracked", separation.tracked ? toJson(*separation.tracked) : Json()},
          {"reliability", bins}};
}

[[noreturn]] void failToCompare(const Tracks& tracks, const Annotations& truth) {
  if (tracks.frame_numbers.empty() || truth.frames.empty()) throw Error("no frames to evaluate");
  throw Error(format("no frames to evaluate: the tracks have frames %d to %d, the truth %d to %d",
                     tracks.frame_numbers.front(), tracks.frame_numbers.back(),
                     truth.frames.front().number, truth.frames.back().number));
}

// Positions of all chosen frames that both have, and the errors of each point.
struct Comparison {
  std::size_t frames = 0;
  std::vector<Judged> positions;
  std::vector<std::vector<double>> errors;  // of each point
};

Comparison compare(const Tracks& tracks, const Truth& truth, double lost_limit,
                   const FrameChoice& choice) {
  Comparison result;
  result.errors.resize(tracks.names.size());
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    const int frame = tracks.frame_numbers[i];
    const Shape* const known = findFrame(truth.annotations, "", frame);
    if (known == nullptr || !isChosen(choice, frame)) continue;
    if (std::none_of(known->begin(), known->end(), isSeen)) continue;
    const double close = closeDistance(*known);
    ++result.frames;
    for (std::size_t p = 0; p < known->size(); ++p) {
      if (!isSeen((*known)[p])) continue;
      const TrackedPoint& point = tracks.shapes[i][p];
      const double error = distance(point, (*known)[p]);
      const bool hidden = truth.hidden.count({frame, p}) != 0;
      result.positions.push_back({error, point.confidence, point.status != Status::kTracked,
                                  !hidden && error <= lost_limit, error <= close});
      result.errors[p].push_back(error);
    }
  }
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

Evaluation evaluate(const Tracks& tracks, Truth truth, double lost_limit,
                    const FrameChoice& choice) {
  takeNames(tracks.names, "the truth", truth.annotations);
  for (const auto& [frame, point] : truth.hidden) {
    if (point < tracks.names.size()) continue;
    throw Error(format("point %zu is hidden in frame %d, there are %zu", point, frame,
                       tracks.names.size()));
  }
  Comparison compared = compare(tracks, truth, lost_limit, choice);
  if (compared.positions.empty()) failToCompare(tracks, truth.annotations);
  Evaluation result;
  result.lost_limit = lost_limit;
  result.frames = compared.frames;
  std::vector<double> all;
  for (const Judged& position : compared.positions) all.push_back(position.error);
  result.all = summarise(std::move(all), lost_limit);
  for (std::size_t p = 0; p < compared.errors.size(); ++p) {
    if (compared.errors[p].empty()) continue;  // known nowhere
    result.names.push_back(tracks.names[p]);
    result.points.push_back(summarise(std::move(compared.errors[p]), lost_limit));
  }
  result.separation = separationOf(compared.positions, lost_limit);
  return result;
}

std::string formatTable(const Evaluation& evaluation) {
  std::string text =
      format("%-16s %7s %8s %8s %8s %8s %8s %8s %9s\n", "error in px", "count", "mean", "median",
             "90 %", "95 %", "99 %", "worst", format("> %g px", evaluation.lost_limit).c_str());
  text += tableRow("all points", evaluation.all);
  if (evaluation.separation && evaluation.separation->tracked) {
    text += tableRow("tracked points", *evaluation.separation->tracked);
  }
  for (std::size_t p = 0; p < evaluation.points.size(); ++p) {
    text += tableRow(evaluation.names[p], evaluation.points[p]);
  }
  if (evaluation.separation) text += formatSeparation(*evaluation.separation);
  return text;
}

std::string formatJson(const Evaluation& evaluation) {
  Json points = Json::array();
  for (std::size_t p = 0; p < evaluation.points.size(); ++p) {
    Json point = toJson(evaluation.points[p]);
    point["name"] = evaluation.names[p];
    points.push_back(std::move(point));
  }
  Json json = {{"frames", evaluation.frames},
               {"lost_above", toJson(evaluation.lost_limit)},
               {"all", toJson(evaluation.all)},
               {"points", points}};
  if (evaluation.separation) json["confidence"] = toJson(*evaluation.separation);
  return json.dump(2) + "\n";
}

}  // namespace remora
