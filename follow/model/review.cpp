#include "follow/model/review.h"

#include <algorithm>

#include "follow/base/text.h"

namespace remora {
namespace {

constexpr std::size_t kMostShown =
    20;  // annotations that disagree: more is a fault of another kind

std::string residualsOf(const Review& review, const std::vector<std::string>& names) {
  const std::vector<double>& residuals = review.residuals;
  const auto [best, worst] = std::minmax_element(residuals.begin(), residuals.end());
  const auto name = [&](auto at) {
    return names[static_cast<std::size_t>(at - residuals.begin())].c_str();
  };
  std::string text = format(
      "where the model has the points there is usually %.2f px (%s) to %.2f px (%s) from where "
      "they "
      "were annotated",
      *best, name(best), *worst, name(worst));
  return text;
}

std::string hardOnesOf(const Review& review, const std::vector<std::string>& names) {
  std::string text;
  for (const std::size_t p : review.hard) {
    text +=
        format("%s%s (%.2f px)", text.empty() ? "" : ", ", names[p].c_str(), review.residuals[p]);
  }
  return "hard to tell: " + text;
}

std::string describe(const Disagreement& odd, const std::vector<std::string>& names) {
  return format(
      "warning: %s: point %zu (%s) is annotated %.1f px from where all other frames say that it "
      "is, "
      "about (%.1f, %.1f)",
      odd.frame.c_str(), odd.point, names[odd.point].c_str(), odd.distance, odd.place.x,
      odd.place.y);
}

}  // namespace

std::vector<std::string> describe(const Review& review, const std::vector<std::string>& names) {
  std::vector<std::string> lines;
  if (!review.residuals.empty()) lines.push_back(residualsOf(review, names));
  if (!review.hard.empty()) lines.push_back(hardOnesOf(review, names));
  std::vector<Disagreement> odd = review.disagreements;
  if (odd.size() > kMostShown) {
    std::stable_sort(odd.begin(), odd.end(),
                     [](const auto& a, const auto& b) { return a.distance > b.distance; });
    lines.push_back(
        format("warning: %zu annotations disagree with all others; the %zu farthest are",
               odd.size(), kMostShown));
    odd.resize(kMostShown);
  }
  for (const Disagreement& one : odd) lines.push_back(describe(one, names));
  for (const std::string& warning : review.warnings) lines.push_back("warning: " + warning);
  for (std::string& line : lines) {
    for (char& c : line) c = c >= 0 && c < ' ' ? '?' : c;  // names of files may hold line ends
  }
  return lines;
}

}  // namespace remora
