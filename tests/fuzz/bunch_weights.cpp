// A bunch file, a '|', and a weights file.
#include <memory>

#include "bunches.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file, weights_file;
  const std::string_view input = fuzz::textOf(data, size);
  const std::string_view text = input.substr(0, input.find('|'));
  const std::string_view weights = input.substr(std::min(text.size() + 1, size));
  std::unique_ptr<ShapeLPTracker> tracker;
  const fuzz::Lines lines([&] {
    tracker = std::make_unique<ShapeLPTracker>(file.holding(text), weights_file.holding(weights));
  });
  const bool weightless = lines.starting("malformed weights file") == 1;
  const bool malformed = !weightless && lines.malformed("bunch file");
  fuzz::require(!weightless || lines.malformed("weights file"), "one file is reported");
  fuzz::expectTracker(fuzz::Numbers(text), *tracker, malformed);
  fuzz::expectWeights(weights, *tracker, !weightless && !malformed);
  if (!malformed) fuzz::expectRoundTrip(*tracker);
  return 0;
}
