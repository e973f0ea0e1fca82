#include "cells.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

#include "follow/base/text.h"

namespace remora::bench {
namespace {

std::vector<double> defined(std::vector<double> values) {
  const auto undefined = [](double value) { return std::isnan(value); };
  values.erase(std::remove_if(values.begin(), values.end(), undefined), values.end());
  return values;
}

}  // namespace

std::string cell(double value, int decimals) {
  return std::isnan(value) ? "-" : format("%.*f", decimals, value);
}

std::string cell(double mean, const std::vector<double>& runs, int decimals, Worst worst) {
  const std::vector<double> values = defined(runs);
  const std::string text = cell(mean, decimals);
  if (values.empty()) return text;
  const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
  if (*lowest == *highest) return text;
  return text + " (" + cell(worst == Worst::kHighest ? *highest : *lowest, decimals) + ")";
}

std::string cell(const std::vector<double>& runs, int decimals, Worst worst) {
  const std::vector<double> values = defined(runs);
  if (values.empty()) return "-";
  const double sum = std::accumulate(values.begin(), values.end(), 0.0);
  return cell(sum / static_cast<double>(values.size()), values, decimals, worst);
}

std::string row(const std::vector<std::string>& cells) {
  std::string text = "|";
  for (const std::string& each : cells) text += " " + each + " |";
  return text + "\n";
}

std::string head(const std::vector<std::string>& titles) {
  std::string line = "|";
  for (std::size_t i = 0; i < titles.size(); ++i) line += "---|";
  return row(titles) + line + "\n";
}

void print(const std::string& text) {
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
}

}  // namespace remora::bench
