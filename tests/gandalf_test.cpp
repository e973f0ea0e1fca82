#include "gandalf.h"

#include "support.h"

namespace {

TEST(Matrix, operationsFillADestinationOrYieldNullWhereSizesDoNotFit) {
  Reals numbers{1, 2, 3, 4, 5, 6}, square{0, 2, 4, 0}, room(6);
  Gan_Matrix a, s, out;
  gan_mat_form_gen(&a, 2, 3, numbers.data(), 6);
  gan_mat_form_gen(&s, 2, 2, square.data(), 4);
  gan_mat_form_gen(&out, 1, 1, room.data(), 6);
  EXPECT_TRUE(!gan_mat_add_gen(&a, false, &a, true, &out) && !gan_mat_invert_q(&a, &out));
  EXPECT_TRUE(!gan_mat_rmult_gen(&a, false, &a, false, &out) && out.rows == 1);
  gan_mat_add_gen(&a, true, &a, true, &out);
  EXPECT_EQ(room, (Reals{2, 6, 10, 4, 8, 12}));
  gan_mat_rmult_gen(&a, false, &a, true, &out);
  EXPECT_EQ(room, (Reals{35, 44, 44, 56, 8, 12}));
  gan_mat_invert_q(&s, &out);
  EXPECT_EQ(room, (Reals{0, 0.25, 0.5, 0, 8, 12}));
  square[1] = 0;
  EXPECT_EQ(gan_mat_invert_q(&s, &out), nullptr);
}

}  // namespace
