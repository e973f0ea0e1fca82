#include "fast_lp.h"

#include "reference.h"
#include "support.h"

namespace {

using reference::Entry;
using reference::Part;

// A flat LP file: per point an x and a y part. Every position is (3, 4).
std::string flatText(const std::vector<Part>& parts) {
  std::ostringstream out;
  out.precision(17);
  out << parts.size() / 2 << '\n';
  for (const Part& part : parts) {
    out << part.lps << '\n' << part.entries.size() << "\n3 4\n";
    for (const Entry& entry : part.entries) out << entry.dx << ' ' << entry.dy << '\n';
    for (const Entry& entry : part.entries) out << entry.intensity << ' ';
    for (const Entry& entry : part.entries) out << entry.weight << ' ';
    out << part.bias << '\n';
  }
  return out.str();
}
std::unique_ptr<FastShapeTracker> load(const std::vector<Part>& parts) {
  return std::make_unique<FastShapeTracker>(file("shape.flp", flatText(parts)).c_str());
}

class Steps : public WithKernels {
 protected:
  static constexpr int kWidth = 90, kHeight = 70, kLine = 3 * kWidth + 5;

  Steps() {
    for (const int size : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 100, 300, 2500, 40}) {
      for (const int entries : {size, random_.whole(0, size)}) {
        parts_.push_back({random_.whole(1, 9), {}, random_.real(-1, 1)});
        for (int i = 0; i < entries; ++i) {
          parts_.back().entries.push_back({random_.whole(-25, 25), random_.whole(-9, 25),
                                           random_.real(0, 1), random_.real(-3, 3)});
        }
      }
    }
    for (int i = 0; i < 21; ++i) {  // enough of about one length to be summed side by side
      parts_.push_back({3, {}, 0.25});
      for (int k = 0; k < 1023 + i % 3; ++k) {
        const Entry entry{k % 37 - 18, k / 37 - 9, random_.real(0, 1), random_.real(-3, 3)};
        parts_.back().entries.push_back(entry);
      }
    }
    parts_.push_back({0, {}, 1});
    parts_[7].lps = 0;
    parts_[8].entries.insert(parts_[8].entries.end(), {{50, 1, 1, 0.5}, {50, 1, 3, -0.5}});
    for (const Part& part : parts_) merged_.push_back(reference::mergedOf(part));
    for (unsigned char& byte : bytes_) byte = static_cast<unsigned char>(random_.whole(0, 255));
    cimg_forXY(image_, x, y) image_(x, y) = bytes_[static_cast<std::size_t>(3 * x + y * kLine)];
  }

  void SetUp() override {
    WithKernels::SetUp();
    if (!IsSkipped()) tracker_ = load(parts_);
  }

  // `step` makes the tracker predict with offsets mapped by h, from places inside, near and across
  // every border, and where no image is.
  void expectSteps(const double* h, const std::function<void()>& step) {
    // From the first one, the largest part reaches the last pixel.
    Reals places{63.25,        46.5, 12.9,      -0.6,
                 NAN,          30,   40,        NAN,
                 HUGE_VAL,     9,    -HUGE_VAL, 9,
                 1e300,        9,    9,         3e9,
                 -3e9,         9,    9,         4294967336.0,
                 2147483647.9, 30,   30,        -2147483648.9};
    for (int i = 0; i < 150; ++i) places.push_back(random_.real(-40, kHeight + 60));
    const auto grey = [this](long long x, long long y) { return image_.data()[x + y * kWidth]; };
    for (const double* at = &places[0]; at != &places[0] + places.size(); at += 2) {
      for (int i = 0; i < tracker_->num_points; ++i) {
        const bool even = i % 2 == 0;  // points next to each other stand apart
        tracker_->SetPos(i, even ? at[0] : at[0] + 1.25, even ? at[1] : at[1] - 2.0);
      }
      std::vector<Reals> starts;
      for (int i = 0; i < tracker_->num_points; ++i) {
        starts.emplace_back(tracker_->all_pos[i], tracker_->all_pos[i] + 2);
      }
      largest_block = 0;
      step();
      ASSERT_EQ(largest_block, 0U);  // nothing is allocated
      for (std::size_t k = 0; k < parts_.size(); ++k) {
        const double found = tracker_->all_pos[k / 2][k % 2];
        const Reals& start = starts[k / 2];
        const auto sample = [&](int dx, int dy) {
          return reference::sampled(grey, kWidth, kHeight, start.data(), h, dx, dy);
        };
        const double expected = reference::stepped(parts_[k], merged_[k], start[k % 2], sample);
        ASSERT_TRUE(found == expected || (std::isnan(found) && std::isnan(expected)))
            << "part " << k << " at " << start[0] << ", " << start[1];
      }
    }
  }

  // Point i of what is expected becomes point k, and the other way round.
  void swapParts(std::size_t i, std::size_t k) {
    for (const std::size_t axis : {0U, 1U}) {
      std::swap(parts_[2 * i + axis], parts_[2 * k + axis]);
      std::swap(merged_[2 * i + axis], merged_[2 * k + axis]);
    }
  }

  Random random_;
  std::vector<Part> parts_;
  std::vector<reference::Offsets> merged_;
  std::unique_ptr<FastShapeTracker> tracker_;
  std::vector<unsigned char> bytes_ = std::vector<unsigned char>(kLine * kHeight);
  CImg<float> image_ = CImg<float>(kWidth, kHeight, 1, 3);
};

INSTANTIATE_TEST_SUITE_P(Kernels, Steps, testing::Range(0, 3), nameOfSet);

TEST_P(Steps, equalThePlainReferenceBitForBit) {
  double maps[][5] = {{1, 0, 50, 0, 1}, {2, 0, 0, 0, 1}, {0.6, -0.8, 9, 0.8, 0.6}, {1e10}, {NAN}};
  expectSteps(maps[0], [&] { tracker_->Predict(bytes_.data(), kLine, kWidth, kHeight); });
  for (float& value : image_) value += 0.3F;
  expectSteps(maps[0], [&] { EXPECT_EQ(tracker_->Predict(image_), tracker_->all_pos); });
  expectSteps(maps[0], [&] { tracker_->Predict(image_, tracker_.get()); });
  const auto expectPointSteps = [&](const double* h, const auto& predict) {
    expectSteps(h, [&] { std::for_each_n(tracker_->all_flp, tracker_->num_points, predict); });
  };
  expectPointSteps(maps[0], [&](FastLP* point) { point->Predict(image_); });
  expectPointSteps(maps[0], [&](FastLP* point) { point->CompactPredict(image_); });
  for (double* const h : maps) {
    expectPointSteps(h, [&](FastLP* point) { point->Predict(image_, h); });
  }
}

TEST_P(Steps, equalItOnPixelsThatAreNoOrdinaryNumbersAndWhereRowsAreShort) {
  double identity[] = {1, 0, 0, 0, 1};
  for (float& value : image_) value *= 1e-40F;  // subnormal
  expectSteps(identity, [&] { tracker_->Predict(image_); });
  const float wild[] = {NAN, HUGE_VALF, -HUGE_VALF, -0.0F, 3e38F};
  for (int i = 0; i < 15; ++i) {
    image_(random_.whole(0, kWidth - 1), random_.whole(0, kHeight - 1)) = wild[i % 5];
    if (i % 5 == 4) expectSteps(identity, [&] { tracker_->Predict(image_); });
  }
  // A buffer that ends with its last pixel, and one whose rows lie upside down.
  const std::size_t used = (kHeight - 1) * kLine + 3 * kWidth;
  Fenced<unsigned char> fenced(used);
  unsigned char* const exact = fenced.begin();
  std::copy_n(bytes_.data(), used, exact);
  cimg_forXY(image_, x, y) image_(x, y) = exact[3 * x + y * kLine];
  expectSteps(identity, [&] { tracker_->Predict(exact, kLine, kWidth, kHeight); });
  image_.mirror('y');
  unsigned char* const last_row = exact + (kHeight - 1) * kLine;
  expectSteps(identity, [&] { tracker_->Predict(last_row, -kLine, kWidth, kHeight); });
}

TEST_P(Steps, goOnWithPointsThatTheHostHasPutInPlace) {
  double identity[] = {1, 0, 0, 0, 1};
  const auto expectGoingOn = [&] { expectSteps(identity, [&] { tracker_->Predict(image_); }); };
  std::swap(tracker_->all_flp[3], tracker_->all_flp[18]);
  std::swap(tracker_->all_pos[3], tracker_->all_pos[18]);
  swapParts(3, 18);
  expectGoingOn();

  // Each point predicts around itself, whichever place it has in the list of positions.
  tracker_ = load(parts_);
  std::swap(tracker_->all_flp[10], tracker_->all_flp[11]);
  expectGoingOn();
  tracker_ = load(parts_);
  std::swap(tracker_->all_pos[14], tracker_->all_pos[15]);
  swapParts(14, 15);
  expectGoingOn();

  // A point that stands exactly where another one was.
  tracker_ = load(parts_);
  const Stream stream = streamOf("1 1 9 9 2 0 0.5 3 0.25 1 1 9 9 -1 1 0.5 -2 0.5");
  tracker_->all_flp[5]->~FastLP();
  new (tracker_->all_flp[5]) FastLP(stream.get());
  parts_[10] = {1, {{2, 0, 0.5, 3}}, 0.25};
  parts_[11] = {1, {{-1, 1, 0.5, -2}}, 0.5};
  for (const std::size_t k : {10U, 11U}) merged_[k] = reference::mergedOf(parts_[k]);
  expectGoingOn();
}

TEST(FastLP, mergesByRowThenColumnEvenWhatFitsNoGridAndReportsWhatCancels) {
  const int far = 1000000000;
  const Part part{1,
                  {{far, -far, 1, 0.5},
                   {-far, far, 0.5, 2},
                   {3, far, 1, 1},
                   {0, INT_MIN, 1, 1},
                   {far, -far, 0.5, 0.25},
                   {3, far, 1, -1},
                   {1, far, 1, NAN}},
                  0};
  std::unique_ptr<FastShapeTracker> tracker;
  largest_block = 0;
  const std::string messages = said([&] { tracker = load({part, part}); });
  for (const std::string k : {"2", "5", "6"}) {  // of the x part alone
    EXPECT_EQ(countOf("New support pixel " + k + " is not in original set\n", messages), 1);
  }
  EXPECT_LT(largest_block, 65536U);
  const FastLP& p = *tracker->all_flp[0];
  EXPECT_EQ(Ints(p.sp_offs_x, p.sp_offs_x + 6), (Ints{0, INT_MIN, far, -far, -far, far}));
  EXPECT_EQ((Reals{p.sp_weights_y[1], p.sp_int_y[1], p.x_rad}), (Reals{0.75, 0.625, 2147483648.0}));
  CImg<float> image(9, 9, 1, 1, 255.0F);
  double identity[] = {1, 0, 0, 0, 1};
  for (const bool mapped : {false, true}) {
    tracker->SetPos(0, 4.0 - far, 4.0 + far);  // the second of the three is inside
    if (mapped) tracker->all_flp[0]->Predict(image, identity);
    if (!mapped) tracker->Predict(image);
    EXPECT_EQ(tracker->all_pos[0][0], 4.0 - far + 1.0 - 0.125 + 1.0);
  }
  // One pixel alone, so far from a centre outside that its place in the data fits no int.
  const auto distant = load({{1, {{0, 300000050, 0.5, 1}}, 0}, {1, {}, 0}});
  distant->SetPos(0, 4, 4 - 300000050.0);
  distant->all_flp[0]->Predict(image, identity);
  EXPECT_EQ(distant->all_pos[0][0], 4 - 0.5);
}

TEST(FastShapeTracker, isEmptyWhenItsFileIsMissingOrMalformed) {
  const Part part{2, {{1, 2, 0.5, 1}, {1, 2, 0.5, -1}, {0, 3, 0.5, 1}}, 3};
  const auto read = [](const char* name) {
    FastShapeTracker tracker(name);
    CImg<float> image(9, 9, 1, 3, 0.0F);
    unsigned char byte = 0;
    EXPECT_EQ(tracker.num_points, 0);
    EXPECT_EQ(tracker.Predict(image), tracker.all_pos);
    EXPECT_EQ(tracker.Predict(image, &tracker), tracker.all_pos);
    EXPECT_EQ(tracker.Predict(&byte, 3, 1, 1), tracker.all_pos);
  };
  expectRefused(flatText({part, part, part, part}), "malformed flat lp file ", read);
  for (const std::string& name : {std::string("none/x"), pathTo("")}) {
    EXPECT_EQ(said([&] { read(name.c_str()); }), "flat lp file " + name + " cannot be read\n");
  }
}

TEST(FastShapeTracker, placesPointsByIndexTogetherOrFromAnother) {
  const auto tracker = load({{1, {}, 2}, {1, {}, 0}}), other = load({{1, {}, 0}, {1, {}, 0}});
  CImg<float> image;
  other->AddOffset(10.5, 20.25);
  EXPECT_EQ(tracker->Predict(image, other.get())[0][0], 3 + 10.5 - 2);
  EXPECT_EQ((Reals{other->GetPos(0)[0], tracker->GetPos(0)[1]}), (Reals{13.5, 24.25}));
  EXPECT_TRUE(tracker->GetPos(-1) == nullptr && tracker->GetPos(1) == nullptr);
  EXPECT_TRUE(isOneLine(said([&] { tracker->SetPos(1, 9, 9); }), "there is no feature point 1: "));
}

}  // namespace
