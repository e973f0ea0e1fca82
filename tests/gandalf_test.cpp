#include "gandalf.h"

#include <Eigen/Core>
#include <cstring>

#include "support.h"

namespace {

// A processor whose caches are not the usual ones.
const bool kOtherCaches = (Eigen::setCpuCacheSizes(48 << 10, 2 << 20, 64 << 20), true);

class Matrix : public testing::Test {
 protected:
  Matrix() {
    gan_mat_form_gen(&a_, 2, 3, numbers_.data(), 6);
    gan_mat_form_gen(&b_, 3, 2, others_.data(), 6);
    gan_mat_form_gen(&out_, 1, 1, room_.data(), 6);
  }

  Reals numbers_{1, 2, 3, 4, 5, 6}, others_{10, 30, 50, 20, 40, 70}, room_ = Reals(6, -1.0);
  Gan_Matrix a_, b_, out_;
};

TEST_F(Matrix, operationsFillADestination) {
  EXPECT_EQ(gan_mat_add_gen(&a_, false, &b_, true, &out_), &out_);
  EXPECT_EQ(room_, (Reals{11, 22, 33, 44, 55, 76}));
  gan_mat_sub_gen(&a_, true, &b_, false, &out_);
  EXPECT_EQ(room_, (Reals{-9, -27, -45, -18, -36, -64}));
  EXPECT_EQ((Ints{static_cast<int>(out_.rows), static_cast<int>(out_.cols)}), (Ints{3, 2}));
  gan_mat_rmult_gen(&a_, false, &b_, false, &out_);
  EXPECT_EQ(room_, (Reals{350, 440, 490, 620, -36, -64}));
  gan_mat_rmult_gen(&a_, false, &a_, true, &out_);
  EXPECT_EQ(room_, (Reals{35, 44, 44, 56, -36, -64}));
  gan_mat_fill_const_q(&out_, 7.5);
  EXPECT_EQ(room_, (Reals{7.5, 7.5, 7.5, 7.5, -36, -64}));
  gan_mat_copy_q(&b_, &out_);
  EXPECT_EQ(room_, others_);
  Reals square{0, 2, 4, 0};
  Gan_Matrix s;
  gan_mat_form_gen(&s, 2, 2, square.data(), 4);
  gan_mat_invert_q(&s, &out_);
  EXPECT_EQ(room_, (Reals{0, 0.25, 0.5, 0, 40, 70}));
}

TEST_F(Matrix, operationsYieldNullWhereTheyCannotDoTheirWork) {
  Reals rows{1, 2, 2, 4}, near{1, 1, 1, 1 + 0x1p-52};
  Gan_Matrix singular, nearly_singular;
  gan_mat_form_gen(&singular, 2, 2, rows.data(), 4);
  gan_mat_form_gen(&nearly_singular, 2, 2, near.data(), 4);
  EXPECT_EQ(gan_mat_add_gen(&a_, false, &b_, false, &out_), nullptr);
  EXPECT_EQ(gan_mat_sub_gen(&a_, true, &b_, true, &out_), nullptr);
  EXPECT_EQ(gan_mat_rmult_gen(&a_, true, &b_, false, &out_), nullptr);
  EXPECT_EQ(gan_mat_invert_q(&a_, &out_), nullptr);
  EXPECT_EQ(gan_mat_invert_q(&singular, &out_), nullptr);
  EXPECT_EQ(gan_mat_invert_q(&nearly_singular, &out_), nullptr);
  EXPECT_EQ(gan_mat_form_gen(nullptr, 2, 3, numbers_.data(), 5), nullptr);
  EXPECT_EQ(gan_mat_form_gen(nullptr, 1UL << 40, 1UL << 40, nullptr, 0), nullptr);
  EXPECT_EQ(room_, Reals(6, -1.0));
}

TEST_F(Matrix, memoryIsTheCallersOrTheLibrarysAndGrows) {
  Gan_Matrix* const sum = gan_mat_add_gen(&a_, false, &b_, true, nullptr);
  EXPECT_EQ(sum->data[5], 76.0);
  gan_mat_free(sum);
  Gan_Matrix own;
  gan_mat_form_gen(&own, 1, 1, nullptr, 0);
  EXPECT_EQ(own.data[0], 0.0);
  gan_mat_copy_q(&a_, &own);
  EXPECT_EQ(Reals(own.data, own.data + 6), numbers_);
  gan_mat_free(&own);
  EXPECT_TRUE(own.data == nullptr && own.rows == 0);
}

// Sums of so many products are formed in blocks.
TEST(LargeMatrix, bitsAreTheSameOnEveryProcessor) {
  constexpr unsigned long kSize = 300;
  Random random;
  Reals numbers(kSize * kSize), room(numbers);
  for (double& number : numbers) number = random.real(-1, 1);
  Gan_Matrix square, row, column, out;
  gan_mat_form_gen(&square, kSize, kSize, numbers.data(), numbers.size());
  gan_mat_form_gen(&row, 30, kSize * 10, numbers.data(), numbers.size());
  gan_mat_form_gen(&column, kSize * 10, 30, numbers.data(), numbers.size());
  gan_mat_form_gen(&out, 1, 1, room.data(), room.size());
  const auto bits = [&] {
    std::uint64_t mixed = 0;
    for (unsigned long k = 0; k < out.rows * out.cols; ++k) {
      std::uint64_t value;
      std::memcpy(&value, room.data() + k, sizeof value);
      mixed = (mixed ^ value) * 0x100000001B3U;
    }
    return mixed;
  };
  ASSERT_TRUE(kOtherCaches);
  gan_mat_invert_q(&square, &out);
  EXPECT_EQ(bits(), 0xAC70550AC1E57497U);
  gan_mat_rmult_gen(&row, false, &column, false, &out);
  EXPECT_EQ(bits(), 0x757631F38CB25317U);
}

}  // namespace
