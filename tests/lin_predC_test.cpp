#include "lin_predC.h"

#include <cstring>

#include "support.h"

namespace {

constexpr char kRefused[] = "Residual error too high in learning a linear predictor\n";

std::string recordOf(lin_predC& p) {
  return written([&](std::FILE* f) { p.SaveToFile(f); });
}

// Gives a predictor examples of our own.
lin_predC& teach(lin_predC& predictor, const Reals& displacements, const Reals& differences) {
  float origin[] = {0, 0};
  CImg<float> empty;
  predictor.AddLearnInfo(empty, origin, empty, origin, 0);
  std::copy(differences.begin(), differences.end(), predictor.l);
  std::copy(displacements.begin(), displacements.end(), predictor.t);
  predictor.added_ex = static_cast<int>(displacements.size() / 2);
  return predictor;
}

TEST(Predictor, samplesAroundTheTruncatedPointAndAtTheNearestEdge) {
  CImg<float> image = texture(30, 20), empty;
  lin_predC predictor(3, 1);
  const int offsets[] = {0, 0, -20, 3, 100, INT_MIN};
  std::copy(offsets, offsets + 6, predictor.supPix);
  float point[] = {10.9F, 5.2F};
  double same_pixel[] = {10.1, 5.7}, outside[] = {5.0, 20.0};
  Reals expected{image(10, 5) / 255.0, image(0, 8) / 255.0, image(29, 0) / 255.0};
  predictor.InitSupPixVals(image, point);
  EXPECT_EQ(predictor.CalcPredErr(image, same_pixel), 0.0);
  predictor.AddSupPixVals(image, point, 0.1F);
  for (double& value : expected) value += value * static_cast<double>(0.1F);
  EXPECT_EQ(Reals(predictor.supPixInt, predictor.supPixInt + 3), expected);
  EXPECT_NEAR(predictor.CalcPredErr(empty, same_pixel),
              (expected[0] + expected[1] + expected[2]) / 3, 1e-15);
  EXPECT_TRUE(isOneLine(said([&] { predictor.InitSupPixPos(30, 20, outside, 9); }),
                        "support pixels cannot be placed: position (5.000000, 20.000000) "));
  EXPECT_EQ(Ints(predictor.supPix, predictor.supPix + 6), Ints(6, 0));
}

TEST(Predictor, drawsExamplesAndResetsThoseThatLeaveTheImage) {
  const auto drawn = [] { return std::floor((2 * (std::rand() / 2147483647.0) - 1) * 8); };
  float places[][2] = {{4.75F, 3.25F}, {36.5F, 27.125F}, {4.0F, 3.0F}, {20.5F, 14.0F}, {3.5F, 14}};
  const int offsets[] = {-3, -2, -4, -4, -2, -1, -1, -3, 0, 0, 1, 1};
  for (float* const r : places) {
    const int width = r[0] == 3.5F ? 5 : 40;  // narrower than the pattern
    CImg<float> image = texture(width, 30);
    lin_predC predictor(6, 50);
    std::copy(offsets, offsets + 12, predictor.supPix);
    predictor.range = 8;
    predictor.InitSupPixVals(image, r);
    std::srand(3);
    for (int i = 0; i < 2; ++i) predictor.AddLearnInfo(image, r, image, r, 45);
    std::srand(3);
    Reals t, l;
    for (int e = 0; e < 50; ++e) {
      double tx = drawn(), ty = drawn();
      const double rx = static_cast<double>(r[0]), ry = static_cast<double>(r[1]);
      for (const int* o = offsets; o != offsets + 12; o += 2) {
        const double x = rx + o[0] + static_cast<int>(tx), y = ry + o[1] + static_cast<int>(ty);
        if (x >= 0 && x < width && y >= 0 && y < 30) continue;
        tx = x < 0 ? -rx - o[0] : width - rx - o[0] - 1;
        ty = y < 0 ? -ry - o[1] : 30 - ry - o[1] - 1;
      }
      t.insert(t.end(), {tx, ty});
      for (int k = 0; k < 6; ++k) {
        const int x = static_cast<int>(rx) + offsets[2 * k] + static_cast<int>(tx);
        const int y = static_cast<int>(ry) + offsets[2 * k + 1] + static_cast<int>(ty);
        const float grey = image(std::clamp(x, 0, width - 1), std::clamp(y, 0, 29));
        l.push_back(grey / 255.0 - predictor.supPixInt[k]);
      }
    }
    EXPECT_EQ(Reals(predictor.t, predictor.t + 100), t);
    EXPECT_EQ(Reals(predictor.l, predictor.l + 300), l);
  }
}

TEST(Learning, recoversALinearMapFromTheExamplesThatThereAre) {
  Random random;
  const Reals map{0.5, -2.0, 1.25, 3.0, 4.0, -1.5};  // two pixels and the constant
  Reals l, t;
  for (int e = 0; e < 200; ++e) {
    const double a = random.real(-1, 1), b = random.real(-1, 1);
    l.insert(l.end(), {a, b});
    t.insert(t.end(), {map[0] * a + map[2] * b + map[4], map[1] * a + map[3] * b + map[5]});
  }
  lin_predC predictor(2, 300);
  std::fill_n(teach(predictor, t, l).l + 400, 200, NAN);
  const auto learn = [&] { return predictor.LearnFromMultiImgsData(0); };
  EXPECT_EQ(said([&] { EXPECT_LT(learn(), 1e-6); }),
            "WARNING, you have only added 200 out of the required 300 examples\n");
  EXPECT_TRUE(predictor.t == nullptr && predictor.l == nullptr && predictor.added_ex == 200);
  EXPECT_EQ(countOf(kRefused, said([&] { EXPECT_EQ(learn(), HUGE_VAL); })), 1);
  for (std::size_t k = 0; k < 6; ++k) EXPECT_NEAR(predictor.H_vv.data[k], map[k], 1e-6);
  // Those that come after a learning are then the only ones.
  float origin[] = {0, 0};
  CImg<float> empty;
  predictor.AddLearnInfo(empty, origin, empty, origin, 100);
  std::fill_n(predictor.t, 400, 1000.0);
  std::fill_n(predictor.l, 400, 1.0);
  std::copy_n(t.begin(), 200, predictor.t + 400);
  std::copy_n(l.begin(), 200, predictor.l + 400);
  EXPECT_EQ(said([&] { EXPECT_LT(learn(), 1e-6); }), "");
  const float a[] = {0x1p54F, 1, -0x1p54F, 0x1.000002p0F}, b[] = {1, 1, 1, 0x1.000002p0F};
  EXPECT_EQ(sse_inner(a, b, 4), 0x1.000002p0 * 0x1.000002p0);  // in order, in double
}

TEST(Learning, measuresTheSelectedRowAndRefusesWhatIsNotBelow99Pixels) {
  for (const double error : {99.0, 98.9375, 200.0, HUGE_VAL, double{NAN}}) {
    const bool by_y = error == 200.0, accepted = error < 99.0 || by_y;
    lin_predC predictor(0, 2);
    teach(predictor, {error, 50.0, -error, -50.0}, {});  // the best constant is 0
    double returned = 0.0;
    const auto learn = [&] { returned = predictor.LearnFromMultiImgsData(by_y ? 1 : 0); };
    EXPECT_EQ(said(learn), accepted ? "" : kRefused);
    EXPECT_TRUE(returned == (by_y ? 50.0 : error) || (std::isnan(error) && std::isnan(returned)));
    EXPECT_EQ(std::memcmp(&returned, &predictor.residual_error, sizeof returned), 0);
    EXPECT_EQ(predictor.H_vv.rows, accepted ? 2U : 1U);
  }
}

TEST(PredictorRecord, isReadCopiedAndWrittenByteForByteOrLeavesAnEmptyPredictor) {
  const std::string record =
      "170 3 7\n-3 5 0 -7 6 2 \n0.411765 0.396078 0.501961 \n2 4\n1.250000 -0.375000 0.062500 "
      "-0.812500 \n0.031250 2.125000 -1.500000 0.250000 \n123.000000 45.500000\n";
  const Stream stream = streamOf(record + record);
  lin_predC first(stream.get()), second(stream.get());
  EXPECT_EQ((Reals{first.H_vv.data[1], first.H_vv.data[2]}), (Reals{0.03125, -0.375}));
  teach(first, Reals(340, 4.0), {0.5}).residual_error = 5;
  second = first;
  lin_predC copy(first);
  copy.H_vv.data[0] = copy.supPixInt[0] = copy.supPix[0] = 77;
  EXPECT_EQ(recordOf(first) + recordOf(second), record + record);
  EXPECT_EQ(Reals(copy.t, copy.t + 340), Reals(340, 4.0));
  EXPECT_EQ((Reals{second.t[339], copy.Error()}), (Reals{4, 5}));
  EXPECT_EQ((Reals{copy.nowSupPixInt[2], copy.supPixInt_Learn[2], copy.j[3]}), (Reals{0, 0, 0}));
  EXPECT_TRUE(copy.l == nullptr && copy.added_ex == 0);
  expectRefused(record, "malformed linear predictor record: ", [](const char* name) {
    lin_predC predictor(remora::internal::openToRead(name).get());
    EXPECT_EQ(recordOf(predictor), "0 0 0\n\n\n1 1\n0.000000 \n0.000000 0.000000\n");
  });
}

}  // namespace
