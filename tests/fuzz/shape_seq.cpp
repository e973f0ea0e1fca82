// A shape sequence file.
#include "shapes.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  const std::string_view text = fuzz::textOf(data, size);
  int points = -1, count = -1;
  float*** shapes = nullptr;
  const fuzz::Lines lines(
      [&] { shapes = ReadShapeFileSeq(file.holding(text), fuzz::kScale, &points, &count); });
  const bool malformed = lines.malformed("shape sequence file");
  fuzz::Numbers in(text);
  if (count > 0 || !malformed) {
    const int announced = in.whole();
    fuzz::require(malformed ? count < announced : count == announced, "all shapes are there");
  }
  bool differ = false;
  for (int i = 0; i < count; ++i) {
    const int size_i = fuzz::pointsOf(shapes[i]);
    fuzz::require(in.whole() == size_i, "shapes are complete");
    fuzz::expectPoints(in, shapes[i]);
    differ = differ || size_i != fuzz::pointsOf(shapes[0]);
  }
  fuzz::require(points == (count == 0 ? 0 : fuzz::pointsOf(shapes[count - 1])),
                "points are counted");
  fuzz::require(lines.starting("shapes in ") == (differ ? 1 : 0),
                "counts that differ are reported");
  fuzz::release(shapes, count);
  return 0;
}
