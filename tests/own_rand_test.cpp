// A host that puts a rand() of its own in place of the C library's: every draw is a call of it.
#include <gtest/gtest.h>

#include "lin_predC.h"

namespace {

int calls_of_rand = 0;

}  // namespace

extern "C" int rand() noexcept {
  ++calls_of_rand;
  return RAND_MAX / 2 + 1000003 * (calls_of_rand % 700);
}

namespace {

TEST(OwnRand, drawsSupportPixelsAndExamples) {
  CImg<float> image(80, 60, 1, 1, 100.0F);
  lin_predC predictor(30, 50);
  double place[] = {40.0, 30.0};
  predictor.InitSupPixPos(image.width(), image.height(), place, 10);
  EXPECT_EQ(calls_of_rand, 2 * 30);
  float reference[] = {40.0F, 30.0F};
  predictor.AddLearnInfo(image, reference, image, reference, 50);
  EXPECT_EQ(calls_of_rand, 2 * 30 + 2 * 50);
}

}  // namespace
