// A shape file.
#include "shapes.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  const std::string_view text = fuzz::textOf(data, size);
  int count = -1;
  float** shape = nullptr;
  const fuzz::Lines lines([&] { shape = ReadShapeFile(file.holding(text), fuzz::kScale, &count); });
  fuzz::require(lines.malformed("shape file") == (shape == nullptr), "a fault gives no shape");
  fuzz::require((shape == nullptr) == (count == -1), "a fault stores nothing");
  if (shape == nullptr) return 0;
  fuzz::Numbers in(text);
  fuzz::require(in.whole() == count && fuzz::pointsOf(shape) == count, "all points are there");
  fuzz::expectPoints(in, shape);
  fuzz::release(shape);
  return 0;
}
