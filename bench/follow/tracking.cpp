#include "tracking.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "cells.h"
#include "follow/base/text.h"
#include "output.h"
#include "trial.h"

namespace remora::bench {
namespace {

constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

Judgement judge(const Tracks& tracks, const std::optional<Tracks>& peer, const Truth& truth,
                const FrameChoice& judged) {
  Judgement result;
  result.all = evaluate(tracks, truth, kLostLimit, judged);
  result.visible = errorsOf(Kind::kVisible, tracks, truth, judged).value();
  result.hidden = errorsOf(Kind::kHidden, tracks, truth, judged);
  if (peer) result.peer = errorsOf(Kind::kVisible, *peer, truth, judged);
  return result;
}

using Value = std::function<double(const Judgement&)>;

std::vector<double> valuesOf(const std::vector<Judgement>& runs, const Value& value) {
  std::vector<double> values;
  for (const Judgement& run : runs) values.push_back(value(run));
  return values;
}

std::string cellOf(const std::vector<Judgement>& runs, int decimals, Worst worst,
                   const Value& value) {
  return cell(valuesOf(runs, value), decimals, worst);
}

// The share of all such positions in all runs that is marked: some runs have few of them.
std::string markedCell(const std::vector<Judgement>& runs, double Separation::*share,
                       std::size_t Separation::*count, Worst worst) {
  double marked = 0.0;
  double all = 0.0;
  for (const Judgement& run : runs) {
    const Separation& s = *run.all.separation;
    if (s.*count == 0) continue;
    marked += 100.0 * s.*share * static_cast<double>(s.*count);
    all += static_cast<double>(s.*count);
  }
  const auto percentage = [share](const Judgement& j) {
    return 100.0 * (*j.all.separation).*share;
  };
  return cell(all > 0.0 ? marked / all : kUndefined, valuesOf(runs, percentage), 2, worst);
}

// Mean error of the hidden positions of all runs, and how many there are.
std::string hiddenCell(const std::vector<Judgement>& runs) {
  double sum = 0.0;
  std::size_t count = 0;
  for (const Judgement& run : runs) {
    if (!run.hidden) continue;
    sum += run.hidden->mean * static_cast<double>(run.hidden->count);
    count += run.hidden->count;
  }
  return count == 0 ? "-" : format("%zu: %.2f", count, sum / static_cast<double>(count));
}

std::string formatRow(const std::string& name, const std::vector<Judgement>& runs) {
  std::size_t not_good = 0;
  for (const Judgement& run : runs) not_good += run.all.separation->not_good;
  constexpr Worst kHigh = Worst::kHighest;
  const auto peer = [](double ErrorSummary::*value, double factor) {
    return [=](const Judgement& j) { return j.peer ? factor * (*j.peer).*value : kUndefined; };
  };
  const auto tracked = [](const Judgement& j) {
    return j.all.separation->tracked ? j.all.separation->tracked->mean : kUndefined;
  };
  return row({name, cellOf(runs, 3, kHigh, peer(&ErrorSummary::mean, 1.0)),
              cellOf(runs, 2, kHigh, peer(&ErrorSummary::lost, 100.0)),
              cellOf(runs, 3, kHigh, [](const Judgement& j) { return j.visible.mean; }),
              cellOf(runs, 2, kHigh, [](const Judgement& j) { return 100.0 * j.visible.lost; }),
              cellOf(runs, 3, kHigh, tracked), hiddenCell(runs), std::to_string(not_good),
              markedCell(runs, &Separation::marked_not_good, &Separation::not_good, Worst::kLowest),
              markedCell(runs, &Separation::marked_good, &Separation::good, kHigh),
              cellOf(runs, 4, Worst::kLowest,
                     [](const Judgement& j) { return j.all.separation->roc_area; })});
}

void addTo(std::vector<Reliability>& sums, const std::vector<Reliability>& bins) {
  sums.resize(std::max(sums.size(), bins.size()));
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const auto count = static_cast<double>(bins[i].count);
    sums[i].count += bins[i].count;
    sums[i].confidence += count * bins[i].confidence;
    sums[i].close += count * bins[i].close;
  }
}

// Of a bin of sums: its count, mean confidence and share that is close.
void addCells(const Reliability& sum, std::vector<std::string>& cells) {
  const double count = sum.count > 0 ? static_cast<double>(sum.count) : kUndefined;
  cells.push_back(std::to_string(sum.count));
  cells.push_back(cell(sum.confidence / count, 3));
  cells.push_back(cell(sum.close / count, 3));
}

std::string summaryOf(const Judgement& judged) {
  return format("%.3f px, %.2f %% lost, %.2f %% of the good ones marked", judged.visible.mean,
                100.0 * judged.visible.lost, 100.0 * judged.all.separation->marked_good);
}

}  // namespace

TrackingTable::Row& TrackingTable::rowOf(const Subject& subject, const Stretch& stretch) {
  const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& each) {
    return each.stretch.name == stretch.name;
  });
  if (found != rows_.end()) return *found;
  rows_.push_back({stretch, !subject.variant, {}});
  return rows_.back();
}

void TrackingTable::add(const Subject& subject, const Footage& footage, const Model& model) {
  std::map<int, std::pair<Tracks, std::optional<Tracks>>> by_step;
  for (const Stretch& stretch : subject.stretches) {
    const int step = stretch.step;
    if (by_step.count(step) == 0) {
      by_step[step] = {follow(model, footage, step), followByPeer(footage, step)};
    }
    const auto& [tracks, peer] = by_step[step];
    const Judgement judged = judge(tracks, peer, footage.truth, stretch.judged);
    tools::say("  " + stretch.name + ": " + summaryOf(judged));
    rowOf(subject, stretch).runs.push_back(judged);
  }
}

std::string TrackingTable::text() const {
  std::string text = head({"frames", "LK: mean, px", "LK: lost, %", "mean, px", "lost, %",
                           "tracked: mean, px", "hidden: number, mean in px", "hidden or lost",
                           "of these marked, %", "good ones marked, %", "ROC area"});
  for (const Row& each : rows_) text += formatRow(each.stretch.name, each.runs);
  return text;
}

std::string TrackingTable::reliability() const {
  std::vector<Reliability> all;
  std::vector<Reliability> recorded;
  for (const Row& each : rows_) {
    if (!each.stretch.unseen) continue;
    for (const Judgement& run : each.runs) {
      addTo(all, run.all.separation->reliability);
      addTo(recorded, each.recorded ? run.all.separation->reliability : std::vector<Reliability>());
    }
  }
  recorded.resize(all.size());
  std::string text =
      head({"confidence", "positions", "mean", "close", "recordings: positions", "mean", "close"});
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::vector<std::string> cells = {
        format("%.1f - %.1f", 0.1 * static_cast<double>(i), 0.1 * static_cast<double>(i + 1))};
    addCells(all[i], cells);
    addCells(recorded[i], cells);
    text += row(cells);
  }
  return text;
}

}  // namespace remora::bench
