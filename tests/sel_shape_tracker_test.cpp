#include <clocale>

#include "fast_lp.h"
#include "shape_lp_track.h"
#include "support.h"

namespace {

std::string flatOf(SelLPShapeTracker& tracker) {
  tracker.SaveFlat(pathTo("flat").c_str());
  return contentsOf(pathTo("flat"));
}

TEST(SelectedTracker, writesWhatPlacingDoesNotChange) {
  const std::string bunches = file("one", "1\n" + kBunch), empty = file("empty", "1\n0\n3 4\n\n");
  SelLPShapeTracker tracker(bunches.c_str(), bunches.c_str()), half(bunches.c_str(), empty.c_str());
  const std::string start = "2\n2\n7.000000 8.000000\n-1 2\n-2 3\n0.500000 0.125000 \n";
  const std::string x = "1\n" + start + "0.250000 0.000000 \n4.000000\n";
  EXPECT_EQ(flatOf(half), x + "0\n0\n3.000000 4.000000\n\n\n0.000000\n");
  half.SetFPPosWithShapeSeq("none/x", 1.0F, 0);
  EXPECT_EQ(Reals(half.fps_pos[0], half.fps_pos[0] + 2), (Reals{50, 4}));
  half.SetPos(0, 10, 11);
  EXPECT_EQ(flatOf(half), x + "0\n0\n10.000000 11.000000\n\n\n0.000000\n");
  const auto place = [&] { return Reals(tracker.fps_pos[0], tracker.fps_pos[0] + 2); };
  EXPECT_EQ(place(), (Reals{50, 40}));
  tracker.SetFPPosWithShapeSeq(file("shapes", "1 1 7 8").c_str(), 2.0F, 0);
  EXPECT_EQ(place(), (Reals{14, 16}));
  tracker.SetPos(0, 10, 10);
  for (int i = 0; i < 2; ++i) tracker.OffsetPos(0, 1, -2);
  EXPECT_EQ(place(), (Reals{12, 6}));
  EXPECT_EQ(flatOf(tracker), x + start + "-0.750000 1.500000 \n-2.000000\n");
  EXPECT_TRUE(isOneLine(said([&] { tracker.SetPos(1, 9, 9); }), "there is no feature point 1: "));
  EXPECT_EQ(said([&] { tracker.SaveFlat("none/x"); }), "Cannot open file none/x for flat saving\n");
  const auto join = [&] { EXPECT_EQ(SelLPShapeTracker(bunches.c_str(), "none/x").num_fps, 0); };
  EXPECT_EQ(countOf("they cannot be joined\n", said(join)), 1);
}

// With a host that has set another locale: none, for its thread, for all of it.
class EndToEnd : public WithKernels {
 protected:
  void SetUp() override {
    WithKernels::SetUp();
    if (GetParam() == 0 || std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) return;
    if (GetParam() == 2) return;
    for_thread_ = duplocale(LC_GLOBAL_LOCALE);
    std::setlocale(LC_ALL, "C");
    uselocale(for_thread_);
  }
  void TearDown() override {
    std::setlocale(LC_ALL, "C");
    uselocale(LC_GLOBAL_LOCALE);
    if (for_thread_ != nullptr) freelocale(for_thread_);
    WithKernels::TearDown();
  }

 private:
  locale_t for_thread_ = nullptr;
};
INSTANTIATE_TEST_SUITE_P(Kernels, EndToEnd, testing::Range(0, 3), nameOfSet);

TEST_P(EndToEnd, trainingGivesTheSameBytesEverywhereAndWhatItGivesTracks) {
  Material m;
  char flags[] = {0, -1};
  std::string names[] = {"x.lpb", "y.lpb"};
  for (const int dim : {0, 1}) {
    const std::string golden = contentsOf(REMORA_TEST_DATA + ('/' + names[dim]));
    names[dim] = pathTo("trained_" + names[dim]);
    std::srand(20U + static_cast<unsigned>(dim));
    ShapeLPTracker trained(m.images, 2, 1.0F, 2, m.shapes, 14.0F, 12, '\0', flags, dim, 2);
    trained.SaveToFile(names[dim].c_str());
    if (contentsOf(names[dim]) != golden) {
      ADD_FAILURE() << "the golden file is another than the one left in the build folder";
      trained.SaveToFile(dim == 0 ? "trained_x.lpb" : "trained_y.lpb");
    }
    const auto copy = [&] {
      ShapeLPTracker(names[dim].c_str(), nullptr).SaveToFile(pathTo("again").c_str());
    };
    EXPECT_EQ(countOf(",", said(copy)), 0);  // numbers in messages have points, too
    EXPECT_TRUE(contentsOf(pathTo("again")) == contentsOf(names[dim]));
  }
  SelLPShapeTracker(names[0].c_str(), names[1].c_str()).SaveFlat(pathTo("flat").c_str());
  FastShapeTracker tracker(pathTo("flat").c_str());
  CImg<float> moved = texture(100, 90, 3, 2);
  const Reals tracked[] = {{0x1.a5e20b7p+5, 0x1.78ce3f24p+5}, {0x1.0e966ba1p+5, 0x1.52ae55acp+5}};
  for (int i = 0; i < 2; ++i) {
    const Reals place(m.places[i], m.places[i] + 2);
    tracker.SetPos(i, place[0], place[1]);
    for (int step = 0; step < 6; ++step) tracker.Predict(moved);
    EXPECT_NEAR(tracker.GetPos(i)[0], place[0] + 3, 1.0);
    EXPECT_NEAR(tracker.GetPos(i)[1], place[1] + 2, 1.0);
    EXPECT_EQ(Reals(tracker.GetPos(i), tracker.GetPos(i) + 2), tracked[i]);
  }
}

TEST(Lives, leaveNothingBehindAndEndAlike) {
  Material m;
  m.first.save_png(pathTo("life.00000.png").c_str());
  const std::string shapes = file("shapes", "1 2 50 45 31.5 40.25"), flat = pathTo("life.flp"),
                    config =
                        file("life.cfg", "1\r\n" + pathTo("life") + "\r\n0\r\n" + shapes + "\r\n"),
                    bunches[] = {pathTo("x"), pathTo("y")};
  const auto live = [&] {
    std::srand(1);
    for (const int dim : {0, 1}) {
      ShapeLPTracker trained(m.images, 2, 1.0F, 2, m.shapes, 12.0F, 9, '\0', nullptr, dim, 2);
      trained.SaveToFile(bunches[dim].c_str());
    }
    SelLPShapeTracker(bunches[0].c_str(), bunches[1].c_str()).SaveFlat(flat.c_str());
    FastShapeTracker tracker(flat.c_str());
    const SLT_Cfg cfg(config.c_str(), 1.0F);
    for (int i = 0; i < 2; ++i) tracker.SetPos(i, m.places[i][0], m.places[i][1]);
    for (int step = 0; step < 50; ++step) tracker.Predict(m.second);
    return Reals{tracker.GetPos(0)[0], tracker.GetPos(0)[1], tracker.GetPos(1)[0]};
  };
  Reals first, last;
  said([&] { last = first = live(); });
  const long blocks = live_blocks;
  const int descriptor = nextDescriptor();
  for (int i = 0; i < 20; ++i) {
    said([&] { last = live(); });
    ASSERT_EQ(last, first);
    ASSERT_EQ(live_blocks, blocks);
  }
  EXPECT_EQ(nextDescriptor(), descriptor);
}

}  // namespace
