// A flat LP file, and one step of the tracker in it.
#include <algorithm>
#include <memory>

#include "parts.h"

namespace {

CImg<float> smallImage() {
  CImg<float> image(9U, 7U);
  int grey = 0;
  for (float& pixel : image) pixel = static_cast<float>(grey = (grey + 37) % 256);
  return image;
}

// What a point's coordinates must be after a step.
struct Expected {
  double x, y;
};

Expected expectPoint(fuzz::Numbers& in, const FastLP& point, const CImg<float>& image) {
  double at[2];
  const fuzz::Part x = fuzz::readPart(in, at);
  const fuzz::Part y = fuzz::readPart(in, at);
  const fuzz::Offsets merged_x = reference::mergedOf(x), merged_y = reference::mergedOf(y);
  fuzz::expectPart(merged_x, x, point.num_lps_x, point.num_sp_x, point.sp_offs_x, point.sp_int_x,
                   point.sp_weights_x, point.sp_bias_x, point.x_rad);
  fuzz::expectPart(merged_y, y, point.num_lps_y, point.num_sp_y, point.sp_offs_y, point.sp_int_y,
                   point.sp_weights_y, point.sp_bias_y, point.y_rad);
  fuzz::require(fuzz::same(point.cur_pos[0], at[0]) && fuzz::same(point.cur_pos[1], at[1]),
                "a point starts where its y part is");
  const auto sample = [&](int dx, int dy) {
    const auto grey = [&](long long u, long long v) { return image.data()[u + v * image.width()]; };
    return reference::sampled(grey, image.width(), image.height(), at, fuzz::kIdentity, dx, dy);
  };
  return {reference::stepped(x, merged_x, at[0], sample),
          reference::stepped(y, merged_y, at[1], sample)};
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File file;
  static CImg<float> image = smallImage();
  const std::string_view text = fuzz::textOf(data, size);
  std::unique_ptr<FastShapeTracker> tracker;
  const fuzz::Lines lines(
      [&] { tracker = std::make_unique<FastShapeTracker>(file.holding(text)); });
  if (lines.malformed("flat lp file")) {
    fuzz::require(tracker->num_points == 0, "a malformed flat LP file gives no points");
    return 0;
  }
  fuzz::Numbers in(text);
  fuzz::require(in.whole() == tracker->num_points, "all points are there");
  std::vector<Expected> expected;
  for (int i = 0; i < tracker->num_points; ++i) {
    expected.push_back(expectPoint(in, *tracker->all_flp[i], image));
  }
  double** const positions = tracker->Predict(image);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    fuzz::require(
        fuzz::same(positions[i][0], expected[i].x) && fuzz::same(positions[i][1], expected[i].y),
        "a step is the plain loop's");
  }
  return 0;
}
