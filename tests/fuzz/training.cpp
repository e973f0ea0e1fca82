// Placement and training with counts, places, radii and images of any kind: what comes of it is
// complete, and its file is read back as it was written.
#include <cstdlib>
#include <memory>

#include "described.h"
#include "fuzz.h"
#include "shape_lp_track.h"

namespace {

using fuzz::Bytes;

float single(Bytes& in) { return static_cast<float>(in.real()); }

CImg<float> describedImage(Bytes& in, int width, int height) {
  if (in.below(8) == 0) width = in.below(3);
  if (width == 0 || height == 0) return {};
  CImg<float> image(static_cast<unsigned>(width), static_cast<unsigned>(height));
  fuzz::Random random(in);
  const int special = in.below(4);
  for (float& pixel : image) {
    pixel = static_cast<float>(random.real(0, 255));
    if (special == 1 && random.whole(0, 40) == 0) pixel = single(in);
  }
  return image;
}

// Images and positions as a host hands them over.
class Material {
 public:
  Material(Bytes& in, int num_images, int num_points) {
    const int width = in.below(4) == 0 ? in.below(4) : 40 + in.below(60);
    const int height = in.below(4) == 0 ? in.below(4) : 40 + in.below(60);
    for (int i = 0; i < num_images; ++i) {
      images_.push_back(std::make_unique<CImg<float>>(describedImage(in, width, height)));
      images.push_back(images_.back().get());
      points_.emplace_back();
      for (int p = 0; p < num_points; ++p) {
        const bool any = in.below(6) == 0;
        positions_.push_back(std::make_unique<float[]>(2));
        positions_.back()[0] = any ? single(in) : static_cast<float>(in.below(4 * width + 1)) / 4;
        positions_.back()[1] = any ? single(in) : static_cast<float>(in.below(4 * height + 1)) / 4;
        points_.back().push_back(positions_.back().get());
      }
    }
    for (auto& shape : points_) shapes.push_back(shape.data());
  }

  std::vector<CImg<float>*> images;
  std::vector<float**> shapes;

 private:
  std::vector<std::unique_ptr<CImg<float>>> images_;
  std::vector<std::unique_ptr<float[]>> positions_;
  std::vector<std::vector<float*>> points_;
};

void expectComplete(const LP_Bunch& bunch, int wanted) {
  const auto size = static_cast<std::size_t>(std::max(wanted, 0));
  fuzz::require(bunch.num_lps == std::max(wanted, 0) && bunch.predictors.size() == size &&
                    bunch.state.size() == 2 * size,
                "a bunch has the predictors that were asked for");
  for (const lin_predC& predictor : bunch.predictors) {
    fuzz::require(predictor.nSuppPix == 30 && predictor.t == nullptr && predictor.l == nullptr,
                  "a predictor is whole and has released its examples");
    const Gan_Matrix& learned = predictor.H_vv;
    const double* const first = learned.data;
    const double* const end = first + learned.rows * learned.cols;
    fuzz::require(std::all_of(first, end, [](double v) { return std::isfinite(v); }),
                  "what is learned are numbers");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::File first, second;
  Bytes in(data, size);
  std::srand(in.raw<std::uint8_t>());
  const int num_images = in.below(4);
  const int num_points = in.below(4);
  Material material(in, num_images, num_points);
  std::vector<float> radii;
  std::vector<int> counts;
  std::string modes;
  for (int p = 0; p < num_points; ++p) {
    radii.push_back(in.below(8) == 0 ? single(in) : static_cast<float>(in.below(80)) / 2);
    counts.push_back(in.below(14) - 1);
    modes += static_cast<char>(in.below(4) - 2);
  }
  const int direction = in.below(2);
  const int generations = in.below(4) - 1;
  fuzz::Lines([&] {
    const ShapeLPTracker none(nullptr, 0, 1, 0, nullptr, 0.0F, 0, 0, nullptr, 0, 0);
    ShapeLPTracker tracker(material.images.data(), num_images, 1, num_points,
                           material.shapes.data(), radii.data(), counts.data(), 0, modes.data(),
                           direction, generations);
    const bool possible = num_images > 0 && std::all_of(radii.begin(), radii.end(),
                                                        [](float r) { return std::isfinite(r); });
    fuzz::require(tracker.num_fps == (possible ? num_points : 0),
                  "all points are trained where there are images and radii");
    for (int p = 0; p < tracker.num_fps; ++p) {
      expectComplete(*tracker.fp_lp_bunch[p], counts[static_cast<std::size_t>(p)]);
    }
    tracker.SaveToFile(first.name().c_str());
    ShapeLPTracker(first.name().c_str(), nullptr).SaveToFile(second.name().c_str());
    fuzz::require(first.text() == second.text(), "a file is read back as it was written");
  });
  return 0;
}
