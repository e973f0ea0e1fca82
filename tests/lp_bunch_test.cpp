#include "shape_lp_track.h"
#include "support.h"

namespace {

constexpr char kRetry[] = "Selected lp position out of image, retrying\n";

// What is printed while a bunch is placed in an image of 100 x 90 pixels.
std::string placed(std::unique_ptr<LP_Bunch>& bunch, int lps, float x, float y, float r, int mode) {
  return said([&] {
    bunch = std::make_unique<LP_Bunch>(100, 90, 2, 85, 1.0F, lps, x, y, r, static_cast<char>(mode));
  });
}

TEST(Bunch, drawsPlacesAndSupportPixelsInOrder) {
  const auto unit = [] { return std::rand() / 2147483647.0; };
  const auto around = [&](double r) { return std::floor((unit() - 0.5) * r * 2); };
  const auto ahead = [&](double r) { return std::floor(unit() * r); };
  const auto inside = [](double x, double y, int margin) {
    return x >= margin && x + margin < 100 && y >= margin && y + margin < 90;
  };
  std::unique_ptr<LP_Bunch> bunch;
  for (const int mode : {0, -1, 1, 2}) {
    std::srand(5);
    const std::string messages = placed(bunch, 25, 45.25F, 44.5F, 21.5F, mode);
    std::srand(5);
    int retries = 0;
    for (std::size_t c = 0; c < 25; ++c) {
      double x = 45.25, y = 44.5;
      for (bool fits = c < 10; !fits; retries += fits ? 0 : 1) {
        x = 45.25 + around(21.5);
        y = mode == 0    ? 44.5 + around(21.5)
            : mode == -1 ? 49.5 + ahead(21.5)
            : mode == 1  ? 39.5 - ahead(21.5)
                         : 44.5;
        fits = inside(x, y, 30);
      }
      Reals pattern;
      while (pattern.size() < 60) {
        const double dx = around(10), dy = around(10);
        if (inside(x + dx, y + dy, 0)) pattern.insert(pattern.end(), {dx, dy});
      }
      const lin_predC& found = bunch->predictors.at(c);
      EXPECT_EQ(Reals(found.supPix, found.supPix + 60), pattern);
      EXPECT_EQ((Reals{bunch->state[2 * c], found.state[1]}), (Reals{x, y}));
      EXPECT_EQ(bunch->lp_pos_offs[2 * c + 1], y - 44.5);
    }
    EXPECT_EQ(countOf(kRetry, messages), retries);
  }
}

TEST(Bunch, aPointAtTheBorderStandsForTheNearestPlaceInside) {
  std::unique_ptr<LP_Bunch> bunch;
  const std::string messages = placed(bunch, 12, 20.5F, 60.0F, 8.0F, 1);  // x never reaches 30
  EXPECT_EQ(countOf("placed at (30.000000, 59.000000)", messages), 2);
  EXPECT_EQ(countOf("\n", messages), countOf(kRetry, messages) + 2);
  EXPECT_EQ((Reals{bunch->state[0], bunch->state[1]}), (Reals{30, 59}));
  EXPECT_EQ((Reals{bunch->lp_pos_offs[22], bunch->lp_pos_offs[23]}), (Reals{9.5, -1}));
  EXPECT_TRUE(isOneLine(placed(bunch, 12, 50, 31, 8, 1), "no position around feature point "));
  EXPECT_EQ(bunch->state[23], 31.0);
}

TEST(Bunch, movesPredictorsNearTheChosenAndFollowsThePoint) {
  const Stream stream = streamOf(kBunch);
  LP_Bunch bunch(stream.get(), nullptr);
  int chosen[] = {1, 0};
  for (unsigned int seed = 0; seed < 200; ++seed) {
    bunch.SetPos(10.5F, 20.25F);
    const std::vector<long double> old(bunch.lp_pos_offs, bunch.lp_pos_offs + 4);
    EXPECT_EQ(bunch.state[3], 20.25 + old[3]);
    std::srand(seed);
    bunch.ReplaceLPPos(chosen, 2.3F);
    std::srand(seed);
    for (std::size_t k = 0; k < 4; ++k) {
      const long double jitter = 2 * (std::rand() * 0x1p-31L - 0.5L) * 2.3F;
      EXPECT_EQ(bunch.lp_pos_offs[k], static_cast<float>(old[k ^ 2] + jitter));
      EXPECT_EQ(bunch.state[k], bunch.mean_pos[k % 2] + static_cast<double>(bunch.lp_pos_offs[k]));
    }
  }
}

TEST(Bunch, takesFlagsAndWeightsFromRecordsInAStream) {
  const Stream stream = streamOf(kBunch + "2 10 20 30 40 rest"), weights = streamOf("2 0 1 2 3 4");
  LP_Bunch bunch(stream.get(), weights.get());
  EXPECT_EQ(bunch.lp_weights, (Reals{1, 2, 3, 4}));
  EXPECT_EQ(said([&] { bunch.ReadLP_Flags(stream.get()); }), "");
  EXPECT_EQ(bunch.lp_x_inds, (Ints{9, 19}));
  EXPECT_EQ(bunch.lp_y_inds, (Ints{29, 39}));
  EXPECT_EQ(std::fgetc(stream.get()), ' ');  // left right after the record
  EXPECT_EQ(said([&] { bunch.ReadLP_Flags(streamOf("1 5 6").get()); }),
            "Number of read lps is inconsistent, we have 2, read 1\n");
  EXPECT_TRUE(isOneLine(said([&] { bunch.ReadLP_Flags(streamOf("2 7 7 7").get()); }),
                        "malformed LP flags record: y flag 1: "));
  EXPECT_EQ(bunch.lp_x_inds, (Ints{4, 19}));
  EXPECT_EQ(bunch.lp_y_inds, (Ints{5, 39}));
}

}  // namespace
