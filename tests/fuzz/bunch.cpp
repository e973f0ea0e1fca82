// A bunch file, its weights file and its LP flags file, with a '|' between them.
#include <algorithm>
#include <memory>

#include "fast_lp.h"
#include "fuzz.h"
#include "shape_lp_track.h"

namespace {

// What stands before the next '|'.
std::string_view cut(std::string_view& rest) {
  const std::string_view part = rest.substr(0, rest.find('|'));
  rest.remove_prefix(std::min(part.size() + 1, rest.size()));
  return part;
}

void expectWhole(const ShapeLPTracker& tracker, bool weighted) {
  for (int i = 0; i < tracker.num_fps; ++i) {
    const LP_Bunch& bunch = *tracker.fp_lp_bunch[i];
    const auto count = static_cast<std::size_t>(bunch.num_lps);
    fuzz::require(bunch.predictors.size() == count && bunch.state.size() == 2 * count &&
                      bunch.lp_weights.size() == 2 * count && bunch.lp_x_inds.size() == count &&
                      bunch.lp_y_inds.size() == count,
                  "lists have an entry for each predictor");
    const auto& weights = bunch.lp_weights;
    fuzz::require(weighted || std::count(weights.begin(), weights.end(), 1.0) ==
                                  static_cast<long>(weights.size()),
                  "without a weights file, all weights are 1");
  }
}

// What is saved comes back, and as a flat LP file with as many points.
void expectRoundTrip(ShapeLPTracker& tracker) {
  static const fuzz::File first, second, flat;
  tracker.SaveToFile(first.name().c_str());
  ShapeLPTracker(first.name().c_str(), nullptr).SaveToFile(second.name().c_str());
  fuzz::require(first.text() == second.text(), "a saved tracker comes back");
  SelLPShapeTracker(first.name().c_str(), second.name().c_str()).SaveFlat(flat.name().c_str());
  fuzz::require(FastShapeTracker(flat.name().c_str()).num_points == tracker.num_fps,
                "a flat LP file is read");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file, weights_file, flags_file;
  std::string_view rest = fuzz::textOf(data, size);
  const char* const bunches = file.holding(cut(rest));
  const char* const weights = weights_file.holding(cut(rest));
  std::unique_ptr<ShapeLPTracker> tracker;
  const fuzz::Lines lines([&] { tracker = std::make_unique<ShapeLPTracker>(bunches, weights); });
  const bool weightless = lines.starting("malformed weights file") == 1;
  const bool malformed = !weightless && lines.malformed("bunch file");
  fuzz::require(!weightless || lines.malformed("weights file"), "one file is reported");
  fuzz::require(!malformed || tracker->num_fps == 0, "a malformed bunch file gives no points");
  const fuzz::Lines flag_lines([&] { tracker->ReadSelLP(flags_file.holding(rest)); });
  flag_lines.malformed("LP flags file");
  expectWhole(*tracker, !weightless);
  fuzz::Lines([&] { expectRoundTrip(*tracker); });
  return 0;
}
