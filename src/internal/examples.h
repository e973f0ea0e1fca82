// Training examples of one predictor as rows for the normal equations: the differences between
// displaced views of an image and the template, a constant 1, zeros up to a multiple of the
// kernels' unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "internal/offset_box.h"
#include "internal/pixel.h"

namespace remora::internal {

// Samples the support pixels of one predictor.
class ExampleSampler {
 public:
  // `offs` must live as long as the sampler.
  ExampleSampler(const int* offs, const double* templ, std::size_t features);

  std::size_t pitch() const { return templ_.size(); }

  // One row of pitch() doubles for each of `count` displacements (x, y) of a reference point, both
  // truncated to whole pixels. Outside the image the nearest pixel counts.
  void sample(const PixelView& view, const float* reference, const double* displacements,
              std::size_t count, double* rows);

 private:
  void indexOffsets(const PixelView& view);
  void take(const PixelView& view, std::int64_t x, std::int64_t y, float* greys) const;

  const int* offs_;
  std::size_t features_;
  OffsetBox box_;
  std::vector<std::ptrdiff_t> indices_;  // of the support pixels, from the reference point's
  std::vector<double> templ_;            // the template, then zeros
  std::vector<float> greys_;             // scratch
};

// Rows of stored differences, `features` each without the constant.
void padRows(const double* differences, std::size_t features, std::size_t count, std::size_t pitch,
             double* rows);

}  // namespace remora::internal
