// What the neighbourhood of a feature point looks like, and how far a picture agrees.
#pragma once

#include <cstddef>
#include <vector>

#include "follow/annotation/shape.h"

namespace remora {

// A square of samples around a place of a picture, without its mean and with length 1 (less where
// there is hardly any contrast, so that flat places agree with nothing).
constexpr int kPatchSide = 13;
constexpr std::size_t kPatchSize = kPatchSide * kPatchSide;
using Patch = std::vector<float>;  // kPatchSize values

// Level pixels between two samples: patches of both levels show the same part of the canvas.
constexpr int patchStep(int level) { return level == 0 ? 2 : 1; }

// Samples, linear between pixels, `step` pixels apart; beyond the border its nearest pixels count.
// requires: width and height of 2 at least
void samplePatch(const float* picture, int width, int height, const Point& at, int step,
                 Patch& samples);
// How far a patch reaches from the pixel that its place lies in.
int patchReach(int step);
void normalise(Patch& patch);

// How a point looked in training: some samples of it, and how well one of them usually agrees with
// the best other.
struct Look {
  std::vector<Patch> patches;  // normalised
  double usual = 1.0;          // correlation

  // The correlation of a normalised patch with the most similar of them, relative to the usual one;
  // or with the first that makes trust full.
  double agreement(const Patch& patch) const;
  // The same for the half of it that agrees best: a point at the edge of something that hides its
  // neighbourhood is seen all the same. Says less than the whole.
  double agreementOfHalf(const Patch& patch) const;
};

// Whether there is next to nothing to tell such places by.
bool isFlat(const Look& look);

// Picks at most `most` of the normalised patches, unlike each other, and says what is usual.
Look makeLook(const std::vector<Patch>& all, std::size_t most);

// Trust 0 ... 1 from agreement: none up to 0.65, full from 0.9.
double trustOf(double agreement);

}  // namespace remora
