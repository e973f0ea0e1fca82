// A shape file, a shape sequence file or a tres file, as the first byte says.
#include "fuzz.h"
#include "internal/shape_store.h"
#include "shape_lp_track.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace remora::internal;
  static const fuzz::File file;
  if (size == 0) return 0;
  const char* const name = file.holding(fuzz::textOf(data + 1, size - 1));
  const std::size_t kind = data[0] % 3;
  constexpr const char* kKinds[] = {"shape file", "shape sequence file", "tres file"};
  constexpr float kScale = 0.5F;
  int points = 0, count = 0;
  float*** shapes = nullptr;
  const fuzz::Lines lines([&] {
    if (kind == 0) {
      shapes = new float** [1] { ReadShapeFile(name, kScale, &points) };
      count = 1;
    } else {
      shapes = (kind == 1 ? ReadShapeFileSeq : ReadTresFile)(name, kScale, &points, &count);
    }
  });
  const bool malformed = lines.malformed(kKinds[kind]);
  fuzz::require(kind != 0 || malformed == (shapes[0] == nullptr), "a fault gives no shape");
  bool differ = false;
  int last = 0;
  for (int i = 0; i < count && shapes[i] != nullptr; ++i) {
    last = countPoints(shapes[i]);
    differ = differ || last != countPoints(shapes[0]);
  }
  fuzz::require(points == last, "the points of the last shape are counted");
  fuzz::require(lines.starting("shapes in ") == (differ ? 1 : 0),
                "counts that differ are reported");
  releaseShapes(shapes, count);
  return 0;
}
