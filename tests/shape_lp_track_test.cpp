#include "shape_lp_track.h"

#include <sys/resource.h>

#include "support.h"

namespace {

using Loader = CImg<float>** (ShapeLPTracker::*)(ImgFnames*, int);
Loader loadAllImgs();
template <Loader loader>
struct Expose {  // an explicit instantiation may name private members
  friend Loader loadAllImgs() { return loader; }
};
template struct Expose<&ShapeLPTracker::LoadAllImgs>;

struct OpenTracker : ShapeLPTracker {
  using ShapeLPTracker::AddTrainImgsToLPBunch;
  using ShapeLPTracker::ShapeLPTracker;
};

// A tracker of nine predictors a point.
std::unique_ptr<OpenTracker> trained(Material& m, int sel_dim, int generations) {
  std::srand(1);
  return std::make_unique<OpenTracker>(m.images, 2, 1.0F, 2, m.shapes, 12.0F, 9, '\0', nullptr,
                                       sel_dim, generations);
}

std::string savedBy(ShapeLPTracker& tracker) {
  tracker.SaveToFile(pathTo("saved").c_str());
  return contentsOf(pathTo("saved"));
}

TEST(Training, reportsGenerationsAndHonoursTheDirectionInBothConstructors) {
  Material m;
  float radii[] = {12, 12};
  int counts[] = {9, 9};
  for (const int dim : {0, 1}) {
    const auto saved = savedBy(*trained(m, dim, 3)), other = savedBy(*trained(m, 1 - dim, 3));
    std::srand(1);
    ShapeLPTracker same(m.images, 2, 1.0F, 2, m.shapes, radii, counts, '\0', nullptr, dim, 3);
    EXPECT_TRUE(savedBy(same) == saved && saved != other);
  }
  const std::string messages = said([&] { trained(m, 0, 2); });
  for (const std::string i : {"0\n", "1\n"}) {
    EXPECT_EQ(countOf("Learning for feature point " + i +
                          "Training for linear predictor for "
                          "feature point " +
                          i + "max_err = ",
                      messages),
              2);
  }
  EXPECT_EQ(messages.find("Created 2 number of feature point lp bunches\nLearning for"), 0U);
  EXPECT_EQ(countOf("\n", messages), 1 + 3 * 2 * 2);
}

class TrainingWithKernels : public WithKernels {};
INSTANTIATE_TEST_SUITE_P(Kernels, TrainingWithKernels, testing::Range(0, 3), nameOfSet);

TEST_P(TrainingWithKernels, leavesTheBunchAsItsOwnOperationsDo) {
  Material m;
  std::swap(m.points[0], m.points[1]);  // the one near the border alone
  std::swap(m.points[2], m.points[3]);
  m.first(40, 45) = HUGE_VALF;
  m.first(37, 40) = -0.0F;
  std::srand(5);
  ShapeLPTracker tracker(m.images, 2, 1.0F, 1, m.shapes, 12.0F, 12, '\0', nullptr, 1, 1);
  const int next_draw = std::rand();
  std::srand(5);
  LP_Bunch by_hand(100, 90, 2, 85, 1.0F, 12, m.points[0][0], m.points[0][1], 12.0F, '\0');
  by_hand.ZeroLP_BunchSPVals();
  by_hand.ResetTrainData();
  for (int j : {0, 1}) by_hand.AddLP_Bunch_SPVals(*m.images[j], m.shapes[j][0], 0.5);
  for (int j : {0, 1}) {
    by_hand.AddOneImgTrainData(*m.images[j], m.shapes[0][0], *m.images[j], m.shapes[j][0]);
  }
  const std::unique_ptr<double[]> errors(by_hand.TrainFromMultiImgs(1));
  EXPECT_EQ(std::rand(), next_draw);

  LP_Bunch& bunch = *tracker.fp_lp_bunch[0];
  const auto record = [](LP_Bunch& b) { return written([&](std::FILE* f) { b.SaveToFile(f); }); };
  EXPECT_EQ(record(bunch), record(by_hand));
  for (std::size_t i = 0; i < 12; ++i) {
    const lin_predC &p = bunch.predictors[i], &q = by_hand.predictors[i];
    EXPECT_TRUE(p.t == nullptr && p.l == nullptr && q.t == nullptr && q.l == nullptr);
    EXPECT_EQ((Ints{p.added_ex, p.nExample}), (Ints{170, 170}));
    EXPECT_EQ((Reals{p.d_int, p.residual_error}), (Reals{q.d_int, q.residual_error}));
    EXPECT_EQ(Reals(p.supPixInt_Learn, p.supPixInt_Learn + 30),
              Reals(q.supPixInt_Learn, q.supPixInt_Learn + 30));
  }
}

TEST(Training, needsImagesAndPositions) {
  Material m;
  float radius = 12;
  int count = 1;
  const auto tracker = trained(m, 0, 0);
  const auto train = [&](CImg<float>** images, int num_imgs) {
    tracker->InitMultiImgs(images, num_imgs, 1, m.shapes, &radius, &count, 1, 'g', nullptr, 0, 0);
  };
  train(m.images, 2);
  EXPECT_EQ(tracker->num_fps, 1);  // trained anew
  EXPECT_TRUE(isOneLine(said([&] { train(nullptr, 2); }), "cannot train: "));
  EXPECT_TRUE(isOneLine(said([&] { train(m.images, 0); }), "cannot train: "));
  radius = NAN;
  EXPECT_TRUE(isOneLine(said([&] { train(m.images, 2); }), "cannot train: "));
  radius = 12;
  m.points[2] = nullptr;
  EXPECT_TRUE(isOneLine(said([&] { train(m.images, 2); }), "cannot train: "));
  EXPECT_EQ(tracker->num_fps, 0);
}

TEST(TrainingImages, thatCannotBeReadAreSkippedUntilTooMany) {
  Material m;
  m.first.save_png(pathTo("f.00007.png").c_str());
  file("f.00008.png", "no image");
  m.second.save_png(pathTo("f.00010.png").c_str());
  ImgFnames names(pathTo("f").c_str(), 7);
  CImg<float>** images = nullptr;
  const auto messages = said([&] { images = (*trained(m, 0, 0).*loadAllImgs())(&names, 3); });
  EXPECT_EQ(countOf("CImg Library Error : ", messages), 2 + 100);
  EXPECT_EQ(images[1]->get_channel(2), m.second.deriche(1, 0, 'x', true).deriche(1, 0, 'y', true));
  EXPECT_EQ(images[2], nullptr);
  for (int i = 0; i < 3; ++i) delete images[i];
  delete[] images;
  ImgFnames listed(nullptr, 0);  // a list that ends
  EXPECT_EQ(said([&] { delete[] (*trained(m, 0, 0).*loadAllImgs())(&listed, 1); }),
            "Created 2 number of feature point lp bunches\nnumber of images = 1\n"
            "gave up loading images: 0 of 1 could be read\n");
}

TEST(TrainingImages, areGatheredScaledEachAfterItsPredecessor) {
  Material m;
  texture(145, 131).save_png(pathTo("g.00000.png").c_str());
  texture(145, 131, 3, 2).save_png(pathTo("g.00001.png").c_str());
  ImgFnames names(pathTo("g").c_str(), 0);
  for (const double weight : {0.25, 1.0}) {
    CImg<float> a, b;
    const auto tracker = trained(m, 0, 0), twin = trained(m, 0, 0);
    LP_Bunch& expected = *twin->fp_lp_bunch[1];
    tracker->fp_lp_bunch[1]->AddLP_Bunch_SPVals(m.first, m.points[1], 0.5);
    if (weight < 1.0) expected.AddLP_Bunch_SPVals(m.first, m.points[1], 0.5);
    std::srand(4);
    tracker->AddTrainImgsToLPBunch(&names, 2, m.shapes, 0.7F, &a, &b, 1, weight);
    EXPECT_EQ((Ints{a.width(), a.height(), b.spectrum()}), (Ints{100, 90, 3}));  // 69 %
    std::srand(4);
    expected.AddLP_Bunch_SPVals(a, m.points[1], weight);
    expected.AddOneImgTrainData(a, m.points[1], a, m.points[1]);
    expected.AddOneImgTrainData(a, m.points[3], b, m.points[3]);
    const lin_predC &p = tracker->fp_lp_bunch[1]->predictors[5], &q = expected.predictors[5];
    EXPECT_EQ(Reals(p.supPixInt, p.supPixInt + 30), Reals(q.supPixInt, q.supPixInt + 30));
    EXPECT_EQ(Reals(p.l, p.l + 30 * 170), Reals(q.l, q.l + 30 * 170));
  }
}

TEST(TrackerFiles, areJoinedAllOrNone) {
  const std::string two = file("two", "2\n" + kBunch + kBunch), no = file("no", "0\n");
  const char* names[] = {two.c_str(), no.c_str(), two.c_str()};
  std::string expected = "will read 2 fps from " + two + "\nwill read 0 fps from " + no +
                         "\nwill read 2 fps from " + two + '\n';
  for (const std::string i : {"0", "1", "2", "3"}) {
    expected += "Reading " + i + " out of 4 lp bunch\nmean_pos = 50.000000\n";
  }
  EXPECT_EQ(said([&] { ShapeLPTracker(names, 3).SaveToFile(pathTo("four").c_str()); }), expected);
  EXPECT_EQ(contentsOf(pathTo("four")), "4\n" + kBunch + kBunch + kBunch + kBunch);
  const auto read = [](const char* name) { EXPECT_EQ(ShapeLPTracker(name, nullptr).num_fps, 0); };
  expectRefused(contentsOf(two), "malformed bunch file ", read);
  names[1] = "none/x";
  ShapeLPTracker none(names, 3);
  EXPECT_EQ(none.num_fps, 0);
  EXPECT_TRUE(isOneLine(said([&] { none.SaveToFile("none/x"); }), "cannot open file none/x "));
  EXPECT_TRUE(isOneLine(said([&] { none.SaveToFile("/dev/full"); }), "writing file /dev/full "));
}

// A process may hold few files open, and what comes through a pipe comes once.
TEST(TrackerFiles, areOpenedOneAtATime) {
  const std::string one = file("one", "1\n" + kBunch);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], contentsOf(one).data(), contentsOf(one).size()),
            static_cast<ssize_t>(contentsOf(one).size()));
  close(ends[1]);
  const std::string piped = "/dev/fd/" + std::to_string(ends[0]);
  std::vector<const char*> names(100, one.c_str());
  names[50] = piped.c_str();
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit few = {40, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  ShapeLPTracker joined(names.data(), 100);
  setrlimit(RLIMIT_NOFILE, &limit);
  close(ends[0]);
  EXPECT_EQ(joined.num_fps, 100);
}

TEST(TrackerFiles, weightsAndFlagsCountOnlyWhenComplete) {
  const std::string weights = " 9 9 1 2 3 4 9 9 5 6 7 8", flags = "2 3 5 6 0 7 8 9 1 3 4";
  const std::string two = file("two", "2\n" + kBunch + kBunch), three = file("3", '3' + weights);
  ShapeLPTracker tracker(two.c_str(), three.c_str());
  EXPECT_EQ(tracker.fp_lp_bunch[1]->lp_weights, (Reals{5, 6, 7, 8}));
  EXPECT_EQ(countOf("WARNING - weights file has 3 features and 2 features in lp bunch file\n",
                    said([&] { ShapeLPTracker(two.c_str(), three.c_str()); })),
            1);
  expectRefused('2' + weights, "malformed weights file ", [&](const char* name) {
    EXPECT_EQ(ShapeLPTracker(two.c_str(), name).fp_lp_bunch[0]->lp_weights, Reals(4, 1.0));
  });
  expectRefused(flags, "\n", [&](const char* name) {
    tracker.ReadSelLP(name);
    EXPECT_EQ(tracker.fp_lp_bunch[0]->lp_x_inds, (Ints{1, 1}));
  });
  EXPECT_EQ(said([&] { tracker.ReadSelLP(file("flags", flags).c_str()); }),
            "Number of read lps is inconsistent, we have 2, read 3\n"
            "Number of read lps is inconsistent, we have 2, read 1\n");
  EXPECT_EQ(tracker.fp_lp_bunch[0]->lp_y_inds, (Ints{6, 7}));
  EXPECT_EQ(tracker.fp_lp_bunch[1]->lp_x_inds, (Ints{2, 1}));
}

TEST(TrackerFiles, aFrameOfAShapeSequencePlacesThePoints) {
  ShapeLPTracker tracker(file("two", "2\n" + kBunch + kBunch).c_str(), nullptr);
  const auto place = [&](const std::string& text, int frame) {
    const std::string name = text.empty() ? "none/x" : file("shapes", text);
    return said([&] { tracker.SetFPPosWithShapeSeq(name.c_str(), 0.5F, frame); });
  };
  EXPECT_EQ(place("2 2 10 20 30 40 2 1 2 3 4", -5), "");
  EXPECT_EQ(tracker.ret_fps_pos[1][0], 15.0);
  EXPECT_EQ(place("2 2 10 20 30 40 2 1 2 3 4", 99) + place("", 0), "");
  EXPECT_TRUE(isOneLine(place("1 1 9 9", 0), "shape sequence file "));
  EXPECT_TRUE(isOneLine(place("1 0", 0), "shape sequence file "));
  EXPECT_TRUE(isOneLine(place("0", 0), "shape sequence file "));
  EXPECT_EQ(tracker.ret_fps_pos[1][1], 2.0);
}

}  // namespace
