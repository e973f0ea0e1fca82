#include "internal/ridge.h"
#include "internal/selection.h"
#include "support.h"

namespace {

using namespace remora::internal;

RidgeMatrix solved(std::size_t features, const Reals& rows, const Reals& displacements) {
  NormalEquations equations(features);
  equations.add(rows.data(), displacements.data(), displacements.size() / 2);
  return equations.solve();
}

TEST(Ridge, solvesTheRegularisedNormalEquations) {
  constexpr std::size_t kFeatures = 5, kPitch = 8, kExamples = 233;
  Random random;
  Reals rows(kExamples * kPitch), displacements;
  NormalEquations equations(kFeatures);
  Reals gram(kFeatures * kFeatures), moment(2 * kFeatures);
  for (std::size_t e = 0; e < kExamples; ++e) {
    double* const row = rows.data() + e * kPitch;
    for (std::size_t k = 0; k < kFeatures; ++k) row[k] = random.real(-1, 1);
    displacements.insert(displacements.end(), {random.real(-20, 20), random.real(-20, 20)});
    for (std::size_t k = 0; k < kFeatures * kFeatures; ++k) {
      gram[k] += row[k / kFeatures] * row[k % kFeatures];
    }
    for (std::size_t k = 0; k < 2 * kFeatures; ++k)
      moment[k] += displacements[2 * e + k % 2] * row[k / 2];
  }
  equations.add(rows.data(), displacements.data(), 1);  // in whatever parts
  equations.add(rows.data() + kPitch, displacements.data() + 2, kExamples - 1);
  const RidgeMatrix matrix = equations.solve();
  ASSERT_EQ(matrix.size(), 2 * kFeatures);
  for (std::size_t k = 0; k < 2 * kFeatures; ++k) {
    double sum = 0.0;
    for (std::size_t i = 0; i < kFeatures; ++i)
      sum += matrix[2 * i + k % 2] * gram[k / 2 * kFeatures + i];
    EXPECT_NEAR(sum, moment[k], 1e-4);
  }

  // Of one small feature: rounded to float in the Gram matrix, as it is elsewhere.
  Reals row(kPitch);
  row[0] = 0.001;
  const double square = std::pow(static_cast<double>(0.001F), 2);
  const double exact = 3 * 0.001 / (square + 1e-7);
  EXPECT_NEAR(solved(1, row, {3, -3}).at(0) / exact, 1.0, 1e-14);
  EXPECT_EQ(solved(1, row, {3, -3}).at(1), -solved(1, row, {3, -3}).at(0));
}

TEST(Ridge, hasNoSolutionThatIsNotFinite) {
  for (const double feature : {double{NAN}, HUGE_VAL}) {
    EXPECT_TRUE(solved(1, {feature, 0, 0, 0, 0, 0, 0, 0}, {1, 1}).empty()) << feature;
  }
  EXPECT_TRUE(solved(1, {1e-5, 0, 0, 0, 0, 0, 0, 0}, {1, 1e308}).empty());
}

TEST(Ridge, theErrorIsTheMeanOfOneRow) {
  const RidgeMatrix matrix{1, -2, 0.5, 4};  // x: 1 and 0.5, y: -2 and 4
  const Reals rows{3, 1, 0, 0, 0, 0, 0, 0, 2, 1, 0, 0, 0, 0, 0, 0}, displacements{5, 0, 2, 7};
  for (const std::size_t target : {0U, 1U}) {
    MeanAbsoluteError error(matrix, target);
    for (const std::size_t e : {0U, 1U}) error.add(&rows[8 * e], &displacements[2 * e], 1);
    EXPECT_EQ(error.mean(), target == 0 ? (1.5 + 0.5) / 2 : (2.0 + 7.0) / 2);
  }
}

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
