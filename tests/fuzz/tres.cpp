// A tres file.
#include <algorithm>

#include "shapes.h"

namespace {

// The points of a last frame that is cut short: the values there are, and then no numbers.
void expectCutShort(fuzz::Numbers& in, float* const* frame, int earlier) {
  constexpr int kMostMissing = 1024;
  const int size = fuzz::pointsOf(frame);
  const int announced = in.whole();
  const int filled_up = std::min(announced, std::max(kMostMissing, earlier));
  fuzz::require(size >= filled_up && size <= announced, "missing points are filled in");
  for (int k = 0; k < 2 * size; ++k) {
    const float value = frame[k / 2][k % 2];
    if (!std::isnan(value)) {
      fuzz::require(value == fuzz::kScale * in.single(), "a coordinate is the scaled one");
    } else if (!in.atEnd()) {
      in.skip();
    }
  }
  fuzz::require(std::isnan(frame[size - 1][1]), "the last coordinate is missing");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  const std::string_view text = fuzz::textOf(data, size);
  int points = -1, count = -1;
  float*** frames = nullptr;
  const fuzz::Lines lines(
      [&] { frames = ReadTresFile(file.holding(text), fuzz::kScale, &points, &count); });
  const bool malformed = lines.malformed("tres file");
  const bool cut_short = lines.starting("reading ") == 1;
  fuzz::require(!(malformed && cut_short), "one fault is reported");
  fuzz::Numbers in(text);
  bool differ = false;
  int earlier = 0;
  for (int i = 0; i < count; ++i) {
    const int size_i = fuzz::pointsOf(frames[i]);
    if (cut_short && i + 1 == count) {
      expectCutShort(in, frames[i], earlier);
    } else {
      fuzz::require(in.whole() == size_i, "frames are complete");
      fuzz::expectPoints(in, frames[i]);
    }
    earlier += size_i;
    differ = differ || size_i != fuzz::pointsOf(frames[0]);
  }
  fuzz::require(points == (count == 0 ? 0 : fuzz::pointsOf(frames[count - 1])),
                "points are counted");
  fuzz::require(malformed || cut_short || in.atEnd(), "the whole file is read");
  fuzz::require(lines.starting("shapes in ") == (differ ? 1 : 0),
                "counts that differ are reported");
  fuzz::release(frames, count);
  return 0;
}
