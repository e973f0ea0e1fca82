// A bunch file.
#include <memory>

#include "bunches.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  const std::string_view text = fuzz::textOf(data, size);
  std::unique_ptr<ShapeLPTracker> tracker;
  const fuzz::Lines lines(
      [&] { tracker = std::make_unique<ShapeLPTracker>(file.holding(text), nullptr); });
  const bool malformed = lines.malformed("bunch file");
  fuzz::expectTracker(fuzz::Numbers(text), *tracker, malformed);
  if (!malformed) fuzz::expectRoundTrip(*tracker);
  return 0;
}
