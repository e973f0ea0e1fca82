#include "common/evaluation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "common/failure.h"
#include "follow/base/text.h"

namespace remora::tools {
namespace {

using Json = nlohmann::ordered_json;

double distance(const Point& a, const Point& b) {
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

std::string tableRow(const std::string& name, const ErrorSummary& errors) {
  return format("%-16s %7zu %8.3f %8.3f %8.3f %8.3f %8.3f %8.3f %7.2f %%\n", name.c_str(),
                errors.count, errors.mean, errors.median, errors.p90, errors.p95, errors.p99,
                errors.worst, 100.0 * errors.lost);
}

Json toJson(double distance) { return std::isfinite(distance) ? Json(distance) : Json("inf"); }

Json toJson(const ErrorSummary& errors) {
  return {{"count", errors.count},           {"mean", toJson(errors.mean)},
          {"median", toJson(errors.median)}, {"p90", toJson(errors.p90)},
          {"p95", toJson(errors.p95)},       {"p99", toJson(errors.p99)},
          {"worst", toJson(errors.worst)},   {"lost", errors.lost}};
}

}  // namespace

Evaluation evaluate(const Tracks& tracks, const std::vector<Shape>& truth, int first_frame,
                    double lost_limit, const FrameChoice& choice) {
  const std::size_t points = tracks.names.size();
  if (truth[0].size() != points) {
    throw Failure(format("the tracks have %zu points, the truth has %zu", points, truth[0].size()));
  }
  Evaluation result;
  result.lost_limit = lost_limit;
  result.names = tracks.names;
  std::vector<double> all;
  std::vector<std::vector<double>> per_point(points);
  for (std::size_t i = 0; i < tracks.shapes.size(); ++i) {
    const int frame = tracks.frame_numbers[i];
    if (!isChosen(choice, frame)) continue;
    const long shape = static_cast<long>(frame) - first_frame;
    if (shape < 0 || shape >= static_cast<long>(truth.size())) {
      throw Failure(format("the truth has no shape for frame %d", frame));
    }
    ++result.frames;
    for (std::size_t p = 0; p < points; ++p) {
      all.push_back(distance(tracks.shapes[i][p], truth[static_cast<std::size_t>(shape)][p]));
      per_point[p].push_back(all.back());
    }
  }
  if (all.empty()) throw Failure("no frames to evaluate");
  result.all = summarise(std::move(all), lost_limit);
  for (auto& errors : per_point) result.points.push_back(summarise(std::move(errors), lost_limit));
  return result;
}

std::string formatTable(const Evaluation& evaluation) {
  std::string text =
      format("%-16s %7s %8s %8s %8s %8s %8s %8s %9s\n", "error in px", "count", "mean", "median",
             "90 %", "95 %", "99 %", "worst", format("> %g px", evaluation.lost_limit).c_str());
  text += tableRow("all points", evaluation.all);
  for (std::size_t p = 0; p < evaluation.points.size(); ++p) {
    text += tableRow(evaluation.names[p], evaluation.points[p]);
  }
  return text;
}

std::string formatJson(const Evaluation& evaluation) {
  Json points = Json::array();
  for (std::size_t p = 0; p < evaluation.points.size(); ++p) {
    Json point = toJson(evaluation.points[p]);
    point["name"] = evaluation.names[p];
    points.push_back(std::move(point));
  }
  const Json json = {{"frames", evaluation.frames},
                     {"lost_above", toJson(evaluation.lost_limit)},
                     {"all", toJson(evaluation.all)},
                     {"points", points}};
  return json.dump(2) + "\n";
}

}  // namespace remora::tools
