// The canvas of remora::follow: poses, warping, brightness, and what a model knows of its shape.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "follow/base/text.h"
#include "follow/canvas/brightness.h"
#include "follow/canvas/drawing.h"
#include "follow/canvas/halving.h"
#include "follow/canvas/kernels/kernels.h"
#include "follow/canvas/pose.h"
#include "follow/canvas/warp.h"
#include "follow/error.h"
#include "follow/footage/image.h"
#include "follow/model/following_model.h"
#include "follow/model/look.h"
#include "follow/model/search.h"
#include "follow/model/shape_model.h"
#include "follow/model/sweep.h"

namespace {

using namespace remora;

const Shape kShape = {{0, 0}, {80, 5}, {75, 60}, {10, 66}, {40, 30}, {20, 45}, {62, 20}, {33, 3}};
const std::vector<double> kAll(kShape.size(), 1.0);
const Affine kTurned{0.9, -0.5, 120.0, 0.5, 0.9, -30.0};

double worst(const Shape& a, const Shape& b) {
  double largest = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    largest = std::max(largest, std::sqrt(squaredDistance(a[i], b[i])));
  }
  return largest;
}

// A smooth picture without symmetry.
double greyAt(double x, double y) {
  return 120.0 + 50.0 * std::sin(0.11 * x + 0.02 * y) + 40.0 * std::cos(0.07 * y - 0.03 * x);
}

GreyImage pictureOf(int width, int height) {
  GreyImage picture{width, height, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.pixels.push_back(static_cast<unsigned char>(std::lround(greyAt(x, y))));
    }
  }
  return picture;
}

GreyView viewOf(const GreyImage& p) { return {p.pixels.data(), p.width, p.height, p.width}; }

TEST(Pose, isExactForSimilaritiesAndOutlivesStrayPoints) {
  EXPECT_LT(worst(fitPose(kShape, kTurned(kShape), kAll, Affine{})(kShape), kTurned(kShape)), 1e-9);
  Shape strayed = kTurned(kShape);
  strayed[2] = strayed[2] + Point{40.0, -25.0};
  strayed[5] = strayed[5] + Point{-30.0, 60.0};
  strayed[7] = strayed[7] + Point{90.0, 0.0};
  const Affine robust = fitPose(kShape, strayed, kAll, Affine{});
  EXPECT_LT(worst(robust(kShape), kTurned(kShape)), 0.5);
  std::vector<double> weights = kAll;
  weights[2] = weights[5] = weights[7] = 0.0;
  EXPECT_LT(worst(fitPose(kShape, strayed, weights, Affine{})(kShape), kTurned(kShape)), 1e-9);
}

TEST(Pose, bendsOnlyAsFarAsTheRidgeLetsIt) {
  const Affine stretched{1.3, 0.0, 5.0, 0.0, 1.0, 7.0};
  const Affine pose = fitPose(kShape, stretched(kShape), kAll, Affine{});
  const double similar =
      worst(fitSimilarity(kShape, stretched(kShape), kAll, Affine{})(kShape), stretched(kShape));
  const double bent = worst(pose(kShape), stretched(kShape));
  EXPECT_LT(bent, 0.75 * similar);
  EXPECT_GT(bent, 0.1 * similar);
}

TEST(Pose, ofFewPointsTakesSizeAndTurnFromTheUsualOne) {
  const Affine one = fitPose({{10, 20}}, {{50, 60}}, {1.0}, kTurned);
  EXPECT_DOUBLE_EQ(one.xx, kTurned.xx);
  EXPECT_DOUBLE_EQ(one.yx, kTurned.yx);
  EXPECT_LT(squaredDistance(one({10, 20}), {50, 60}), 1e-18);
  const Shape two = {{0, 0}, {10, 0}};
  EXPECT_LT(worst(fitPose(two, kTurned(two), {1.0, 1.0}, Affine{})(two), kTurned(two)), 1e-9);
  const Shape heap(5, Point{3, 3});  // all in one place
  EXPECT_LT(worst(fitPose(heap, heap, std::vector<double>(5, 1.0), kTurned)(heap), heap), 1e-9);
  Shape line;
  for (int i = 0; i < 6; ++i) line.push_back({7.0 * i, 3.0 * i});
  const Affine along = fitPose(line, kTurned(line), std::vector<double>(6, 1.0), Affine{});
  EXPECT_LT(worst(along(line), kTurned(line)), 1e-6);
}

TEST(Warp, samplesWhereTheMapSays) {
  const GreyImage picture = pictureOf(90, 70);
  const Affine map{0.6, -0.2, 30.3, 0.15, 0.7, 12.6};
  std::vector<float> out(40 * 30);
  warp(viewOf(picture), map, 40, 30, out.data());
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      const Point at = map({static_cast<double>(x), static_cast<double>(y)});
      EXPECT_NEAR(static_cast<double>(out[static_cast<std::size_t>(40 * y + x)]),
                  greyAt(at.x, at.y), 1.2);
    }
  }
}

TEST(Warp, wholePixelsComeBackAndReductionAverages) {
  const GreyImage picture = pictureOf(20, 12);
  std::vector<float> out(30 * 20);
  warp(viewOf(picture), translation({-5.0, -4.0}), 30, 20, out.data());
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 30; ++x) {
      const int px = std::clamp(x - 5, 0, 19);
      const int py = std::clamp(y - 4, 0, 11);
      EXPECT_EQ(out[static_cast<std::size_t>(30 * y + x)],
                static_cast<float>(picture.pixels[static_cast<std::size_t>(20 * py + px)]));
    }
  }
  GreyImage board{64, 64, {}};
  for (int i = 0; i < 64 * 64; ++i) {
    board.pixels.push_back((i % 64 + i / 64) % 2 == 0 ? 255 : 0);
  }
  std::vector<float> small(8 * 8);
  warp(viewOf(board), Affine{8.0, 0.0, 3.5, 0.0, 8.0, 3.5}, 8, 8, small.data());
  for (const float value : small) EXPECT_NEAR(static_cast<double>(value), 127.5, 8.0);
}

TEST(Warp, farAwayMapsAndTinyPicturesStayDefined) {
  const GreyImage dot{1, 1, {77}};
  std::vector<float> out(12);
  for (const Affine& map : {Affine{}, Affine{1e12, 0.0, -1e15, 0.0, 1e12, 1e15},
                            Affine{0.0, 0.0, 0.0, 0.0, 0.0, 0.0}, Affine{-3.0, 0, 9, 0, -3.0, 9}}) {
    warp(viewOf(dot), map, 4, 3, out.data());
    for (const float value : out) EXPECT_NEAR(static_cast<double>(value), 77.0, 1e-3);
  }
}

TEST(Sampling, givesTheSameBitsWithEverySetOfInstructions) {
  std::mt19937 draw(5);
  std::vector<unsigned char> pixels(100 * 80);
  for (unsigned char& pixel : pixels) pixel = static_cast<unsigned char>(draw());
  constexpr int kOne = 1 << kPlaceBits;
  for (int trial = 0; trial < 2000; ++trial) {
    const auto below = [&draw](int limit) { return static_cast<int>(draw() % unsigned(limit)); };
    const int count = 1 + below(trial % 2 == 0 ? 14 : kLongestRun);
    const int pace = std::min(kLongestPace, 30 * kOne / count);
    const remora::Run run{
        pixels.data() + 40 * 100 + 40, 100,  below(kOne), below(kOne), below(2 * pace) - pace,
        below(2 * pace) - pace,        count};
    std::int32_t expected[kRunRoom], greys[kRunRoom];
    kPlainSampling.sample(run, expected);
    for (int i = 0; i < samplingChoices().count; ++i) {
      samplingChoices().sets[i]->sample(run, greys);
      ASSERT_TRUE(std::equal(expected, expected + count, greys)) << samplingChoices().sets[i]->name;
    }
  }
}

// At borders, turned, reduced: all that a Warp does besides.
TEST(Warp, drawsTheSameWithEverySetOfInstructions) {
  const GreyImage picture = pictureOf(70, 50);
  const SamplingKernels& chosen = samplingKernels();
  for (const Affine& map :
       {Affine{0.8, -0.1, 3.0, 0.1, 0.8, 2.0}, Affine{-0.5, 0.9, 30.0, -0.9, -0.5, 60.0},
        Affine{1.9, 0.2, -9.0, -0.3, 1.7, 4.0}, Affine{3.1, 0.0, 2.0, 0.0, 3.3, 1.0}}) {
    std::vector<float> first;
    for (int i = 0; i < samplingChoices().count; ++i) {
      useSampling(*samplingChoices().sets[i]);
      std::vector<float> out(60 * 40);
      warp(viewOf(picture), map, 60, 40, out.data());
      if (i == 0) first = out;
      EXPECT_EQ(out, first) << samplingChoices().sets[i]->name;
    }
  }
  useSampling(chosen);
}

TEST(Halved, isTheMeanOfFourWhateverPartIsTaken) {
  const GreyImage picture = pictureOf(90, 71);
  const auto at = [&](int x, int y) {
    return picture.pixels[static_cast<std::size_t>(90 * y + x)];
  };
  Halved whole, part;
  whole.take(viewOf(picture), scaling(2.0), 45, 35, 0);
  part.take(viewOf(picture), Affine{2.0, 0.0, 31.0, 0.0, 2.0, 23.0}, 9, 8, 0);
  ASSERT_LT(part.view().width, whole.view().width);
  for (int y = 0; y < 35; ++y) {
    for (int x = 0; x < 44; ++x) {
      const int sum =
          at(2 * x, 2 * y) + at(2 * x + 1, 2 * y) + at(2 * x, 2 * y + 1) + at(2 * x + 1, 2 * y + 1);
      ASSERT_EQ(whole.view().data[y * whole.view().stride + x], (sum + 2) / 4);
    }
  }
  const Point corner = part.map(Affine{})({0.0, 0.0});  // of the picture, in the part
  const int dx = static_cast<int>(std::lround(-corner.x - 0.25));
  const int dy = static_cast<int>(std::lround(-corner.y - 0.25));
  ASSERT_GT(dx, 4);
  for (int y = 0; y < part.view().height; ++y) {
    for (int x = 0; x < part.view().width; ++x) {
      ASSERT_EQ(part.view().data[y * part.view().stride + x],
                whole.view().data[(y + dy) * whole.view().stride + x + dx]);
    }
  }
}

Level levelOf(int width, int height) {
  Level level;
  level.width = width;
  level.height = height;
  return level;
}

TEST(Drawing, smoothsByTheBinomialAndKeepsWhatIsFlat) {
  GreyImage dot{40, 40, std::vector<unsigned char>(1600, 0)};
  dot.pixels[20 * 40 + 20] = 255;
  const Level level = levelOf(31, 29);
  const Region none;
  Drawing drawing(level, none);
  drawing.begin(viewOf(dot), translation({5.0, 6.0}));
  drawing.wantAll();
  drawing.draw();
  const float row[] = {1, 4, 6, 4, 1};
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 5; ++x) {
      EXPECT_FLOAT_EQ(drawing.pixels()(13 + x, 12 + y), 255.0F * row[x] * row[y] / 256.0F);
    }
  }
  const GreyImage flat{3, 2, std::vector<unsigned char>(6, 9)};
  drawing.begin(viewOf(flat), translation({-11.5, -7.25}));
  drawing.wantAll();
  drawing.draw();
  for (const float value : drawing.pixels()) EXPECT_FLOAT_EQ(value, 9.0F);
}

TEST(Drawing, ofPartsIsThatOfTheWhole) {
  const GreyImage picture = pictureOf(120, 100);
  const Level level = levelOf(75, 61);
  Region region;
  for (int place = 0; place < 75 * 61; place += 3) {
    region.places.push_back(place);
    region.grey.push_back(static_cast<float>(greyAt(place % 75, place / 75)));
  }
  const Affine pose{0.9, -0.3, 25.0, 0.3, 0.9, 3.0};
  Drawing whole(level, region), parts(level, region);
  whole.begin(viewOf(picture), pose);
  whole.wantAll();
  whole.draw();
  for (int round = 0; round < 2; ++round) {  // the second time over what the first has left
    parts.begin(viewOf(picture), pose);
    for (const Box& box : {Box{-9, 3, 12, 20}, Box{30, 30, 41, 38}, Box{33, 35, 80, 70}}) {
      parts.want(box);
      if (box.left != 30) parts.draw();
      for (int y = std::max(box.top, 0); box.left != 30 && y <= std::min(box.bottom, 60); ++y) {
        for (int x = std::max(box.left, 0); x <= std::min(box.right, 74); ++x) {
          ASSERT_EQ(parts.pixels()(x, y), whole.pixels()(x, y));
        }
      }
    }
  }
  // The brightness that its part of the region tells holds for what is drawn later, too.
  const Brightness light = parts.adjust({});
  const float before = whole.pixels()(5, 58);
  EXPECT_EQ(parts.pixels()(35, 32), whole.pixels()(35, 32) * light.gain + light.offset);
  parts.want({5, 58, 5, 58});
  parts.draw();
  EXPECT_EQ(parts.pixels()(5, 58), before * light.gain + light.offset);
}

TEST(Brightness, isFoundBesideWhatHidesAThird) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> grey(40.0F, 200.0F);
  std::vector<float> seen, wanted;
  for (int i = 0; i < 600; ++i) {
    wanted.push_back(grey(random));
    const bool hidden = i % 3 == 0;
    seen.push_back(hidden ? 240.0F : (wanted.back() - 18.0F) / 1.4F);
  }
  std::vector<float> scratch;
  const Brightness found = fitBrightness(seen, wanted, {}, scratch);
  EXPECT_NEAR(static_cast<double>(found.gain), 1.4, 0.02);
  EXPECT_NEAR(static_cast<double>(found.offset), 18.0, 2.0);
  const Brightness flat =
      fitBrightness(std::vector<float>(50, 30.0F), std::vector<float>(50, 90.0F), {}, scratch);
  EXPECT_FLOAT_EQ(flat.gain, 1.0F);
  EXPECT_FLOAT_EQ(flat.offset, 60.0F);
}

TEST(ShapeModel, placesHiddenPointsByTheOthersAndTheModes) {
  // A shape whose last two points move together, as a mouth does.
  std::vector<Shape> shapes;
  for (int i = 0; i < 12; ++i) {
    Shape shape = kShape;
    for (const std::size_t p : {6U, 7U}) shape[p].y += 4.0 * (i % 4) - 6.0;
    shapes.push_back(shape);
  }
  const ShapeModel model(kShape, shapes);
  ASSERT_EQ(model.modes().size(), 1U);
  Shape seen = kShape;
  for (const std::size_t p : {6U, 7U}) seen[p].y += 5.0;
  const Shape truth = seen;
  std::vector<double> trust = kAll;
  trust[7] = 0.0;
  seen[7] = {500.0, 500.0};
  EXPECT_LT(worst(model.fit(seen, trust, 1.0), truth), 0.8);
  // A point in the wrong place with full trust does not bend the rest.
  seen = kShape;
  seen[1] = seen[1] + Point{30.0, 30.0};
  Shape fitted = model.fit(seen, kAll, 1.0);
  fitted[1] = kShape[1];
  EXPECT_LT(worst(fitted, kShape), 1.5);
}

TEST(Look, agreesInOtherLightAndNotWithOtherPlaces) {
  const GreyImage picture = pictureOf(120, 100);
  std::vector<float> grey(picture.pixels.begin(), picture.pixels.end());
  const auto patchAt = [&grey](const Point& p) {
    Patch patch;
    samplePatch(grey.data(), 120, 100, p, 2, patch);
    normalise(patch);
    return patch;
  };
  const Look look = makeLook({patchAt({50, 40}), patchAt({50.4, 40.2}), patchAt({49.7, 40})}, 2);
  EXPECT_EQ(look.patches.size(), 2U);
  EXPECT_GT(trustOf(look.agreement(patchAt({50.2, 40.1}))), 0.99);
  EXPECT_LT(trustOf(look.agreement(patchAt({78, 70}))), 0.01);
  for (float& value : grey) value = 0.5F * value + 60.0F;
  EXPECT_GT(trustOf(look.agreement(patchAt({50, 40}))), 0.99);
  std::fill(grey.begin(), grey.end(), 100.0F);
  EXPECT_EQ(trustOf(look.agreement(patchAt({50, 40}))), 0.0);  // nothing to be seen
}

TEST(Calibration, risesBetweenItsNodesAndNowhereElse) {
  const Calibration curve{{{0.2, 0.1}, {0.6, 0.5}, {1.0, 0.9}}};
  EXPECT_DOUBLE_EQ(curve.at(0.0), 0.1);
  EXPECT_DOUBLE_EQ(curve.at(0.4), 0.3);
  EXPECT_DOUBLE_EQ(curve.at(2.0), 0.9);
  EXPECT_DOUBLE_EQ(curve.at(std::nan("")), 0.1);
}

TEST(Search, findsWhereTheMeanCanvasLies) {
  const int width = 120, height = 90;
  std::vector<float> mean;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      mean.push_back(static_cast<float>(128 + 60 * std::sin(0.2 * x + 0.002 * x * y) +
                                        50 * std::cos(0.17 * y)));
    }
  }
  const Searcher searcher(mean, width, height, std::vector<bool>(mean.size(), true));
  GreyImage picture{400, 300, std::vector<unsigned char>(400 * 300, 90)};
  const Point corner{180.0, 130.0};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.pixels[static_cast<std::size_t>((y + 130) * 400 + x + 180)] =
          static_cast<unsigned char>(mean[static_cast<std::size_t>(y * width + x)]);
    }
  }
  const auto found = searcher.search(viewOf(picture), Affine{}, wideVariations(), 1e6, 5);
  ASSERT_FALSE(found.empty());
  EXPECT_GT(found[0].correlation, 0.7);
  EXPECT_LT(squaredDistance(found[0].pose(searcher.middle()), searcher.middle() + corner), 50.0);
  // In parts it takes some frames, and finds the same place.
  Sweep sweep;
  int frames = 1;
  while (!sweep.goOn(searcher, viewOf(picture), Affine{}, 2e6, 5)) ASSERT_LT(++frames, 100);
  EXPECT_GT(frames, 3);
  ASSERT_FALSE(sweep.best().empty());
  EXPECT_EQ(sweep.best()[0].correlation, found[0].correlation);
  const GreyImage blank{400, 300, std::vector<unsigned char>(400 * 300, 90)};
  EXPECT_TRUE(searcher.search(viewOf(blank), Affine{}, wideVariations(), 1e6, 5).empty());
}

TEST(Images, becomeGreyWhateverTheirLayout) {
  const unsigned char colour[] = {255, 0, 0, 0, 255, 0, 9, 9, 0, 0, 255, 10, 20, 30, 9, 9};
  const GreyImage grey = toGrey({colour, 2, 2, 8, 3, Image::Depth::kByte});
  EXPECT_EQ(grey.pixels, (std::vector<unsigned char>{76, 150, 29, 18}));
  const GreyImage flipped = toGrey({colour + 8, 2, 2, -8, 3, Image::Depth::kByte});
  EXPECT_EQ(flipped.pixels, (std::vector<unsigned char>{29, 18, 76, 150}));
  const float values[] = {0.0F, 0.5F, 2.0F, -1.0F, std::numeric_limits<float>::quiet_NaN(), 1.0F};
  EXPECT_EQ(toGrey({values, 3, 2, 0, 1, Image::Depth::kFloat}).pixels,
            (std::vector<unsigned char>{0, 128, 255, 0, 0, 255}));
  const float undivided[] = {0.0F, 12.0F, 200.0F, 3.0F};
  for (const Image& bad :
       {Image{nullptr, 2, 2}, Image{colour, 0, 2}, Image{colour, 2, 2, 0, 2},
        Image{colour, 2, 2, 5, 3}, Image{undivided, 2, 2, 0, 1, Image::Depth::kFloat}}) {
    EXPECT_THROW(toGrey(bad), Error);
  }
}

}  // namespace
