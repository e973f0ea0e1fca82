// A weights file for a fixed tracker.
#include <memory>

#include "bunches.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file, weights_file;
  static const char* const bunches = file.holding(fuzz::kBunchFile);
  const std::string_view text = fuzz::textOf(data, size);
  std::unique_ptr<ShapeLPTracker> tracker;
  const fuzz::Lines lines(
      [&] { tracker = std::make_unique<ShapeLPTracker>(bunches, weights_file.holding(text)); });
  const bool malformed = lines.malformed("weights file");
  fuzz::expectTracker(fuzz::Numbers(fuzz::kBunchFile), *tracker, false);
  fuzz::expectWeights(text, *tracker, !malformed);
  const bool other_count = !malformed && fuzz::Numbers(text).whole() != tracker->num_fps;
  fuzz::require(malformed || lines.starting("WARNING - weights file has ") == (other_count ? 1 : 0),
                "another number of points is reported");
  return 0;
}
