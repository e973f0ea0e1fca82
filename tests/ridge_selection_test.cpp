#include "internal/selection.h"
#include "support.h"

namespace {

using namespace remora::internal;

TEST(Selection, everySlotButTheFirstDrawsTheFirstIndexThatReachesTheDraw) {
  Reals values{-1.0, 1.0, 0.5, 0.0}, cumulative(500, NAN);
  invertErrors(values.data(), 4);
  EXPECT_EQ(values, (Reals{1, 1, 4, HUGE_VAL}));
  accumulateNormalised(values.data(), 3, cumulative.data());
  EXPECT_EQ((Reals{cumulative[0], cumulative[1], cumulative[2]}), (Reals{1 / 6.0, 2 / 6.0, 1}));
  cumulative[1] = cumulative[0];
  cumulative[2] = 0.5;  // half of the draws find nothing
  Ints selected(500, -1), expected{0};
  std::srand(17);
  spinRoulette(cumulative.data(), 500, selected.data());
  std::srand(17);
  for (int slot = 1; slot < 500; ++slot) {
    const double draw = std::rand() / 2147483647.0;
    expected.push_back(draw <= 1 / 6.0 ? 0 : draw <= 0.5 ? 2 : slot);
  }
  EXPECT_EQ(selected, expected);
}

}  // namespace
