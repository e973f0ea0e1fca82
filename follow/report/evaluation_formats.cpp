#include <cmath>
#include <nlohmann/json.hpp>

#include "follow/base/text.h"
#include "follow/report/evaluation.h"
#include "follow/report/evaluation_json.h"

namespace remora {
namespace {

using Json = nlohmann::ordered_json;

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

}  // namespace

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

Json toJson(const Evaluation& evaluation) {
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
  return json;
}

std::string formatJson(const Evaluation& evaluation) { return toJson(evaluation).dump(2) + "\n"; }

}  // namespace remora
