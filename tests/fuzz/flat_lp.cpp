// A flat LP file, and one step of the tracker in it with each set of kernels.
#include <memory>

#include "cimg/CImg.h"
#include "fast_lp.h"
#include "fuzz.h"
#include "internal/kernels/kernels.h"

namespace {

CImg<float> smallImage() {
  CImg<float> image(9U, 7U);
  int grey = 0;
  for (float& pixel : image) pixel = static_cast<float>(grey = (grey + 37) % 256);
  return image;
}

// Each point goes where it goes alone.
void expectStep(FastShapeTracker& tracker, FastShapeTracker& alone, CImg<float>& image) {
  double* const* const places = tracker.Predict(image);
  for (int i = 0; i < alone.num_points; ++i) {
    const double* const place = alone.all_flp[i]->Predict(image);
    fuzz::require(fuzz::same(places[i][0], place[0]) && fuzz::same(places[i][1], place[1]),
                  "a step of a shape is that of its points");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace remora::internal;
  static const fuzz::File file;
  static CImg<float> image = smallImage();
  const char* const name = file.holding(fuzz::textOf(data, size));
  const Kernels& widest = kernels();
  for (int set = 0; set < kernelChoices().count; ++set) {
    useKernels(*kernelChoices().sets[set]);
    std::unique_ptr<FastShapeTracker> tracker;
    const fuzz::Lines lines([&] { tracker = std::make_unique<FastShapeTracker>(name); });
    fuzz::require(!lines.malformed("flat lp file") || tracker->num_points == 0,
                  "a malformed flat LP file gives no points");
    fuzz::Lines([&] {
      FastShapeTracker alone(name);
      expectStep(*tracker, alone, image);
    });
  }
  useKernels(widest);
  return 0;
}
