#include "follow/training/preparation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "follow/annotation/annotations.h"
#include "follow/base/median.h"
#include "follow/base/text.h"
#include "follow/canvas/brightness.h"
#include "follow/canvas/drawing.h"
#include "follow/canvas/pose.h"
#include "follow/error.h"
#include "follow/model/description.h"

namespace remora {
namespace {

constexpr int kAlignments = 5;
constexpr int kBrightnessRounds = 3;
constexpr std::size_t kMostPatches = 16;  // of a point
constexpr double kSmallestSize = 15.0;    // canvas pixels: of a single point, say
constexpr double kNoise = 1.5;            // canvas pixels, of a point beside its shape
constexpr int kPlacementMargin = 30;      // level pixels that the engine keeps from every border

// Canvas pixels a pixel of the frame. Enlarging helps small shapes most; large ones hold enough
// detail, and cost.
double chosenScale(double size) {
  constexpr double kSmall = 30.0, kLarge = 60.0;  // pixels of the frame
  constexpr double kUsual = 1.5, kMost = 3.0, kLeast = 0.5;
  if (!(size > 0.0)) return kUsual;
  if (size < kSmall) return std::min(kMost, kUsual * kSmall / size);
  return std::max(kLeast, kUsual * std::min(1.0, kLarge / size));
}

double medianSize(const std::vector<TrainingFrame>& examples) {
  std::vector<double> sizes;
  for (const TrainingFrame& example : examples) sizes.push_back(sizeOf(example.shape));
  return medianOf(std::move(sizes));
}

// A shape of this size about (0, 0).
Shape sized(const Shape& shape, double size) {
  const Point middle = middleOf(shape);
  const double now = sizeOf(shape);
  const double factor = now > 0.0 ? size / now : 1.0;
  Shape result;
  for (const Point& p : shape) result.push_back(factor * (p - middle));
  return result;
}

class Preparing {
 public:
  Preparing(const std::vector<TrainingFrame>& examples, double scale, float largest_radius,
            Prepared wanted)
      : examples_(examples) {
    result_.scale = scale > 0.0 ? scale : chosenScale(medianSize(examples));
    alignShapes();
    layOut(static_cast<double>(largest_radius));
    averageCanvas();
    completeRegions(result_.model);
    drawCanvases();
    if (wanted == Prepared::kCanvases) return;
    learnLooks();
    learnLeeway();
  }

  Preparation take() { return std::move(result_); }

 private:
  void alignTo(const Shape& mean) {
    const Affine plain = scaling(1.0 / result_.scale);
    result_.poses.clear();
    aligned_.clear();
    for (const TrainingFrame& example : examples_) {
      result_.poses.push_back(fitPose(mean, example.shape, example.seen, plain));
      aligned_.push_back(result_.poses.back().inverse()(example.shape));
    }
  }

  // Generalised Procrustes analysis (J. C. Gower, "Generalized Procrustes analysis", 1975).
  void alignShapes() {
    const double size = result_.scale * medianSize(examples_);
    mean_ = sized(examples_[0].shape, size);
    for (int round = 0; round < kAlignments; ++round) {
      alignTo(mean_);
      Shape sum(mean_.size());
      for (const Shape& shape : aligned_) {
        for (std::size_t p = 0; p < sum.size(); ++p) sum[p] = sum[p] + shape[p];
      }
      mean_ = sized(sum, size);
    }
    result_.model.size = std::max(size, kSmallestSize);
  }

  // The canvas holds the shape and around it what the stages look at.
  void layOut(double largest_radius) {
    Point low = mean_[0];
    Point high = mean_[0];
    for (const Point& p : mean_) {
      low = {std::min(low.x, p.x), std::min(low.y, p.y)};
      high = {std::max(high.x, p.x), std::max(high.y, p.y)};
    }
    const auto reach = [](double radius, int factor) {
      return std::max(2.0 * radius, radius + kPlacementMargin * factor) + 8.0;
    };
    const double fine = reach(std::min(largest_radius, static_cast<double>(kCoarseRadius)), 1);
    const double coarse = std::max(reach(largest_radius, 2), fine);
    const auto cover = [&](int factor, double margin) {
      const auto pixels = [&](double extent) {
        return static_cast<int>(std::ceil((extent + 2.0 * margin) / factor)) + 1;
      };
      Level level;
      level.factor = factor;
      level.width = pixels(high.x - low.x);
      level.height = pixels(high.y - low.y);
      const Point size{static_cast<double>(level.width - 1), static_cast<double>(level.height - 1)};
      level.origin = 0.5 * (low + high) - (0.5 * factor) * size;
      return level;
    };
    requireRoom(high.x - low.x + 2.0 * coarse, high.y - low.y + 2.0 * coarse, largest_radius);
    Level& f = result_.model.levels[kFine];
    f = cover(1, fine);
    // Canvas coordinates are the pixels of the fine level.
    for (Point& p : mean_) p = p - f.origin;
    low = low - f.origin;
    high = high - f.origin;
    f.origin = {};
    result_.model.levels[kCoarse] = cover(2, coarse);
    alignTo(mean_);
    result_.model.shape = ShapeModel(mean_, aligned_);
    learnUsualPose();
  }

  void requireRoom(double width, double height, double largest_radius) const {
    if (std::max(width, height) < kMostCanvasSide) return;
    throw Error(
        format("a canvas of %.0f x %.0f px is too large: radius %g at %.2f canvas pixels a "
               "pixel of the frames",
               width, height, largest_radius, result_.scale));
  }

  void learnUsualPose() {
    std::vector<double> scales;
    for (const Affine& pose : result_.poses)
      scales.push_back(std::sqrt(std::abs(pose.determinant())));
    Affine usual = result_.poses[0];
    const double factor = medianOf(scales) / std::sqrt(std::abs(usual.determinant()));
    result_.model.usual = scaling(factor) * usual;
  }

  static GreyView viewOf(const GreyImage& image) {
    return {image.pixels.data(), image.width, image.height, image.width};
  }

  // Each canvas at the brightness of the mean of all.
  void averageCanvas() {
    std::vector<CImg<float>> canvases;
    const Level& level = result_.model.levels[kFine];
    const Region none;
    Drawing drawing(level, none);
    for (std::size_t i = 0; i < examples_.size(); ++i) {
      const ExamplePicture picture(*examples_[i].example);
      drawWhole(*picture, i, drawing);
      canvases.push_back(drawing.pixels());
    }
    std::vector<Brightness> brightness(examples_.size());
    std::vector<float> seen, scratch;
    std::vector<float>& mean = result_.model.mean;
    for (int round = 0;; ++round) {
      mean.assign(level.size(), 0.0F);
      const float share = 1.0F / static_cast<float>(examples_.size());
      for (std::size_t i = 0; i < examples_.size(); ++i) {
        const float* const in = canvases[i].data();
        for (std::size_t k = 0; k < mean.size(); ++k) {
          mean[k] += share * (in[k] * brightness[i].gain + brightness[i].offset);
        }
      }
      if (round == kBrightnessRounds) return;
      completeRegions(result_.model);
      const Region& region = result_.model.regions[kFine];
      for (std::size_t i = 0; i < examples_.size(); ++i) {
        seen.clear();
        for (const int place : region.places) seen.push_back(canvases[i].data()[place]);
        brightness[i] = fitBrightness(seen, region.grey, {}, scratch);
      }
    }
  }

  void drawWhole(const GreyImage& picture, std::size_t example, Drawing& drawing) const {
    drawing.begin(viewOf(picture), result_.poses[example]);
    drawing.wantAll();
    drawing.draw();
  }

  void drawCanvases() {
    std::vector<Drawing> drawings;
    drawings.reserve(kLevels);
    for (int l = 0; l < kLevels; ++l) {
      drawings.emplace_back(result_.model.levels[l], result_.model.regions[l]);
    }
    for (std::size_t i = 0; i < examples_.size(); ++i) {
      const ExamplePicture picture(*examples_[i].example);
      for (int l = 0; l < kLevels; ++l) {
        const Level& level = result_.model.levels[l];
        Drawing& drawing = drawings[static_cast<std::size_t>(l)];
        drawWhole(*picture, i, drawing);
        drawing.adjust({});
        result_.canvases[l].push_back(drawing.pixels());
        Shape shape;
        for (std::size_t p = 0; p < mean_.size(); ++p) {
          shape.push_back(examples_[i].isSeen(p) ? level.toLevel(aligned_[i][p]) : unseen());
        }
        result_.shapes[l].push_back(std::move(shape));
      }
    }
  }

  void learnLooks() {
    for (int l = 0; l < kLevels; ++l) {
      const Level& level = result_.model.levels[l];
      for (std::size_t p = 0; p < mean_.size(); ++p) {
        std::vector<Patch> patches;
        for (std::size_t i = 0; i < examples_.size(); ++i) {
          if (!examples_[i].isSeen(p)) continue;
          patches.emplace_back();
          samplePatch(result_.canvases[l][i].data(), level.width, level.height,
                      result_.shapes[l][i][p], patchStep(l), patches.back());
          normalise(patches.back());
        }
        result_.model.looks[l].push_back(makeLook(patches, kMostPatches));
      }
    }
  }

  void learnLeeway() {
    const std::size_t points = mean_.size();
    std::vector<double> sums(points, 0.0);
    std::vector<double> counts(points, 0.0);
    for (std::size_t i = 0; i < examples_.size(); ++i) {
      for (std::size_t p = 0; p < points; ++p) {
        if (!examples_[i].isSeen(p)) continue;
        std::vector<double> others = examples_[i].seen;
        others[p] = 0.0;
        const Shape expected = result_.model.shape.fit(aligned_[i], others, kNoise);
        sums[p] += squaredDistance(expected[p], aligned_[i][p]);
        counts[p] += 1.0;
      }
    }
    for (std::size_t p = 0; p < points; ++p) {
      result_.model.leeway.push_back(std::sqrt(sums[p] / counts[p]));
    }
  }

  const std::vector<TrainingFrame>& examples_;
  Shape mean_;
  std::vector<Shape> aligned_;
  Preparation result_;
};

}  // namespace

Preparation prepare(const std::vector<TrainingFrame>& examples, double scale, float largest_radius,
                    Prepared wanted) {
  return Preparing(examples, scale, largest_radius, wanted).take();
}

}  // namespace remora
