#include "fast_lp.h"

#include <cmath>
#include <limits>
#include <map>
#include <sstream>
#include <utility>

#include "support.h"

namespace {

struct Entry {
  int dx, dy;
  double intensity, weight;
};

// One part of a point, as the file lists it.
struct Part {
  int lps = 1;
  double x = 0.0, y = 0.0;
  std::vector<Entry> entries;
  double bias = 0.0;
};
using Point = std::pair<Part, Part>;

std::ostream& operator<<(std::ostream& out, const Part& part) {
  out << part.lps << '\n' << part.entries.size() << '\n' << part.x << ' ' << part.y << '\n';
  for (const Entry& entry : part.entries) out << entry.dx << ' ' << entry.dy << '\n';
  for (const Entry& entry : part.entries) out << entry.intensity << ' ';
  for (const Entry& entry : part.entries) out << entry.weight << ' ';
  return out << part.bias << '\n';
}

std::string flatText(const std::vector<Point>& points) {
  std::ostringstream out;
  out.precision(17);
  out << points.size() << '\n';
  for (const auto& [x, y] : points) out << x << y;
  return out.str();
}

// A tracker of these points, and what its construction printed.
struct Loaded {
  explicit Loaded(const std::string& text) : Loaded(Folder(), text) {}
  explicit Loaded(const std::vector<Point>& points) : Loaded(flatText(points)) {}
  Loaded(const Folder& folder, const std::string& text) {
    const std::string name = folder.write("shape.flp", text);
    messages = said([&] { tracker = std::make_unique<FastShapeTracker>(name.c_str()); });
  }
  FastLP& point(int i) { return *tracker->all_flp[i]; }
  std::vector<int> xOffsets() {
    return {point(0).sp_offs_x, point(0).sp_offs_x + 2 * point(0).num_sp_x};
  }

  std::unique_ptr<FastShapeTracker> tracker;
  std::string messages;
};

// ---------------------------------------------------------------------------------------------
// Prediction against a plain reference

// The coordinate after one step, as the sum is defined: offsets merged, by row, then column; every
// addition rounded to float (volatile: no compiler keeps more).
template <class Sample>
double stepped(const Part& part, double old, Sample sample) {
  std::map<std::pair<int, int>, std::pair<double, double>> merged;
  for (const Entry& entry : part.entries) {
    auto& [weight, term] = merged[{entry.dy, entry.dx}];
    weight += entry.weight;
    term += entry.weight * entry.intensity;
  }
  volatile float sum = 0.0F;
  for (const auto& [offset, sums] : merged) {
    if (!(std::abs(sums.first) > 0.0)) continue;
    const double term = sums.first * sample(offset.second, offset.first) - sums.second;
    sum = static_cast<float>(static_cast<double>(sum) + term);
  }
  sum = static_cast<float>(static_cast<double>(sum) + part.bias);
  sum = static_cast<float>(static_cast<double>(sum) * (1.0 / part.lps));
  return part.lps == 0 ? old : old - static_cast<double>(sum);
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

// The whole pixel of a position; one that fits no int is far outside.
long long whole(double position) {
  const bool fits = position > -2147483649.0 && position < 2147483648.0;
  return fits ? static_cast<long long>(position) : -1000000000000LL;
}

class Steps : public testing::Test {
 protected:
  static constexpr int kWidth = 90, kHeight = 70, kReach = 25;

  Steps() {
    for (const int size : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 64, 100, 300, 2500, 40}) {
      points_.push_back({part(size), part(random_.whole(0, size))});
    }
    points_[3].second.lps = 0;
    loaded_ = std::make_unique<Loaded>(points_);
  }

  Part part(int size) {
    Part result{random_.whole(1, 9), 0.0, 0.0, {}, random_.real(-1.0, 1.0)};
    for (int i = 0; i < size; ++i) {
      result.entries.push_back({random_.whole(-kReach, kReach), random_.whole(-kReach, kReach),
                                random_.real(0.0, 1.0), random_.real(-3.0, 3.0)});
    }
    return result;
  }

  // Inside, near and across every border, and where no image is.
  std::vector<std::pair<double, double>> positions() {
    std::vector<std::pair<double, double>> all{{12.9, -0.6}, {NAN, 30.0}, {40.5, NAN}};
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double far : {infinity, -infinity, 1e300, 3e9, -3e9, 4294967336.0, 2147483647.9,
                             -2147483648.9}) {
      all.insert(all.end(), {{far, 30.25}, {40.5, far}});
    }
    for (const int x : {-kReach - 1, -1, 0, kReach - 1, kReach, kWidth - kReach, kWidth - 1}) {
      for (const int y : {kReach, kHeight - kReach - 1, kHeight - kReach}) all.push_back({x, y});
    }
    for (int i = 0; i < 40; ++i) {
      all.push_back({random_.real(-2 * kReach, kWidth + 2 * kReach),
                     random_.real(-2 * kReach, kHeight + 2 * kReach)});
    }
    return all;
  }

  // `sample` is called with a pixel and an offset from it, `step` makes the tracker predict.
  template <class Step, class Sample>
  void expectSteps(Step step, Sample sample) {
    FastShapeTracker& tracker = *loaded_->tracker;
    ASSERT_EQ(tracker.num_points, static_cast<int>(points_.size()));
    for (const auto& [x, y] : positions()) {
      for (int i = 0; i < tracker.num_points; ++i) tracker.SetPos(i, x, y);
      step(tracker);
      const auto around = [&, px = whole(x), py = whole(y)](int dx, int dy) {
        return sample(px, py, dx, dy);
      };
      for (int i = 0; i < tracker.num_points; ++i) {
        const Point& point = points_[static_cast<std::size_t>(i)];
        ASSERT_TRUE(same(tracker.all_pos[i][0], stepped(point.first, x, around)) &&
                    same(tracker.all_pos[i][1], stepped(point.second, y, around)))
            << "point " << i << " at " << x << ", " << y;
      }
    }
  }

  CImg<float> randomImage() {
    CImg<float> image(kWidth, kHeight, 1, 3);
    for (float& value : image) value = static_cast<float>(random_.real(0.0, 255.0));
    return image;
  }

  static double sampleOf(const CImg<float>& image, long long x, long long y) {
    const bool inside = x >= 0 && x < kWidth && y >= 0 && y < kHeight;
    return inside ? static_cast<double>(image.data()[x + y * kWidth]) / 255.0 : 0.0;
  }

  Random random_{11};
  std::vector<Point> points_;
  std::unique_ptr<Loaded> loaded_;
};

TEST_F(Steps, onFloatImagesEqualTheReferenceBitForBit) {
  CImg<float> image = randomImage();
  const auto sample = [&](long long x, long long y, int dx, int dy) {
    return sampleOf(image, x + dx, y + dy);
  };
  EXPECT_GT(loaded_->point(17).num_sp_x, 1500);
  expectSteps([&](FastShapeTracker& t) { EXPECT_EQ(t.Predict(image), t.all_pos); }, sample);
  expectSteps([&](FastShapeTracker& t) { t.Predict(image, &t); }, sample);
}

TEST_F(Steps, onBytesTakeTheFirstOfThreeAndSkipThePadding) {
  constexpr int kLine = 3 * kWidth + 5;
  std::vector<unsigned char> bytes(kLine * kHeight);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random_.whole(0, 255));
  expectSteps([&](FastShapeTracker& t) { t.Predict(bytes.data(), kLine, kWidth, kHeight); },
              [&](long long x, long long y, int dx, int dy) {
                x += dx;
                y += dy;
                const bool inside = x >= 0 && x < kWidth && y >= 0 && y < kHeight;
                return inside ? bytes[static_cast<std::size_t>(3 * x + y * kLine)] / 255.0 : 0.0;
              });
}

TEST_F(Steps, withAMapTruncateTheMovedOffsets) {
  CImg<float> image = randomImage();
  double maps[][9] = {{1, 0, 50, 0, 1, 50}, {2, 0, 0, 0, 1}, {0.6, -0.8, 9, 0.8, 0.6, 9},
                      {0.01, 0, 0, 0, -1}, {1e10, 0, 0, 0, 1}, {NAN, 0, 0, 0, 1}};
  for (double* const map : maps) {
    expectSteps(
        [&](FastShapeTracker& t) {
          for (int i = 0; i < t.num_points; ++i) t.all_flp[i]->Predict(image, map);
        },
        [&](long long x, long long y, int dx, int dy) {
          return sampleOf(image, x + whole(map[0] * dx + map[1] * dy),
                          y + whole(map[3] * dx + map[4] * dy));
        });
  }
}

TEST(FastLP, roundsTheRunningSumToFloatAfterEachAddition) {
  // In double the small weights would survive: the sum would be 2.
  const Part part{1, 0, 0, {{0, 0, 0, 16777216}, {1, 0, 0, 1}, {2, 0, 0, 1}, {3, 0, 0, -16777216}}, 0};
  Loaded loaded(std::vector<Point>(3, {part, part}));
  CImg<float> white(9, 9, 1, 1, 255.0F);
  std::vector<unsigned char> bytes(3 * 9 * 9, 255);
  loaded.tracker->AddOffset(4.0, 5.0);
  loaded.tracker->Predict(white);
  loaded.tracker->Predict(bytes.data(), 27, 9, 9);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(loaded.tracker->GetPos(i)[0], 4.0);
    EXPECT_EQ(loaded.tracker->GetPos(i)[1], 5.0);
  }
}

TEST(FastLP, anEmptyImageSamplesAsZero) {
  Loaded loaded({{{1, 0, 0, {{0, 0, 0.5, 2.0}}, 0.25}, {2, 7, 8, {}, 1.0}}});
  CImg<float> empty;
  loaded.tracker->Predict(empty);
  loaded.tracker->Predict(nullptr, 0, 0, 0);
  EXPECT_EQ(loaded.tracker->GetPos(0)[0], 7.0 + 2 * 0.75);
  EXPECT_EQ(loaded.tracker->GetPos(0)[1], 8.0 - 2 * 0.5);
}

// ---------------------------------------------------------------------------------------------
// Merging

TEST(FastLP, mergesEqualOffsetsByRowThenColumn) {
  const Part part{3, 0, 0, {{1, 0, 0.2, 0.5}, {-1, 0, 1, 1}, {0, -1, 1, 4}, {1, 0, 0.6, 0.25}}, 0};
  Loaded loaded({{part, part}});
  EXPECT_EQ(loaded.messages, "");
  EXPECT_EQ(loaded.xOffsets(), (std::vector<int>{0, -1, -1, 0, 1, 0}));
  const FastLP& point = loaded.point(0);
  EXPECT_EQ(point.sp_weights_x[2], 0.75);
  EXPECT_EQ(point.sp_int_x[2], 0.5 * 0.2 + 0.25 * 0.6);
  EXPECT_EQ(point.num_lps_x, 3);
  EXPECT_EQ(point.num_sp_y, 3);
  EXPECT_EQ(point.sp_int_y[2], point.sp_int_x[2]);
}

TEST(FastLP, dropsOffsetsWhoseWeightsCancelAndReportsThoseOfTheXPart) {
  const Part part{1, 0, 0, {{5, 5, 1, 0.5}, {1, 2, 1, 1}, {5, 5, 3, -0.5}, {-7, 0, 1, NAN},
                            {2, 2, 1, -0.0}}, 0};
  Loaded loaded({{part, part}});
  EXPECT_EQ(loaded.xOffsets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(loaded.point(0).num_sp_y, 1);
  EXPECT_EQ(loaded.point(0).x_rad, 7.0);
  std::string expected;
  for (const int k : {0, 2, 3, 4}) {
    expected += "New support pixel " + std::to_string(k) + " is not in original set\n";
  }
  EXPECT_EQ(loaded.messages, expected);
}

TEST(FastLP, mergesOffsetsThatNoGridCanHold) {
  const int far = 1000000000, lowest = -2147483647 - 1;
  const Part part{1, 0, 0, {{far, -far, 1, 0.5}, {-far, far, 0.5, 2}, {3, far, 1, 1}, {0, lowest, 1, 1},
                            {far, -far, 0.5, 0.25}, {3, far, 1, -1}}, 0};
  std::unique_ptr<Loaded> loaded;
  EXPECT_LT(largestBlock([&] { loaded = std::make_unique<Loaded>(std::vector<Point>{{part, part}}); }),
            kModest);
  EXPECT_EQ(loaded->xOffsets(), (std::vector<int>{0, lowest, far, -far, -far, far}));
  EXPECT_EQ(loaded->point(0).sp_weights_x[1], 0.75);
  EXPECT_EQ(loaded->point(0).sp_int_y[1], 0.625);
  EXPECT_EQ(loaded->point(0).y_rad, 2147483648.0);
  EXPECT_EQ(countOf("is not in original set", loaded->messages), 2);
  CImg<float> image(9, 9, 1, 1, 255.0F);
  loaded->tracker->SetPos(0, -3.0, far);
  EXPECT_EQ(loaded->tracker->Predict(image)[0][0], -3.0 + 0.625 + 1.0 + 1.0);
}

// ---------------------------------------------------------------------------------------------
// Reading and placing

TEST(FastLP, readsOnePointAndLeavesTheStreamBehindIt) {
  const Stream stream = streamOf("1 1 3 4 0 0 0.5 2 1\n2 0 5.5 6\n\n\n0.25\n77");
  FastLP point(stream.get());
  EXPECT_EQ(point.cur_pos[0], 5.5);
  EXPECT_EQ(point.cur_pos[1], 6.0);
  EXPECT_EQ(point.num_lps_y, 2);
  EXPECT_EQ(point.sp_bias_y, 0.25);
  EXPECT_EQ(std::fgetc(stream.get()), '\n');
  EXPECT_TRUE(isOneLine(said([&] { EXPECT_EQ(FastLP(stream.get()).num_lps_x, 0); }), "malformed "));
}

TEST(FastShapeTracker, aMalformedFileGivesNoPointsAndOneLine) {
  const Part x{2, 1, 2, {{1, 2, 0.5, 1}, {1, 2, 0.5, -1}, {0, 3, 0.5, 1}}, 3}, y{1, 4, 5, {}, 6};
  for (const std::string& text : damaged(flatText({{y, x}, {y, y}}))) {
    Loaded loaded(text);
    EXPECT_EQ(loaded.tracker->num_points, 0) << text;
    EXPECT_TRUE(isOneLine(loaded.messages, "malformed flat lp file ")) << loaded.messages;
    CImg<float> image(5, 5);
    loaded.tracker->Predict(image);
  }
  EXPECT_EQ(Loaded("-1").tracker->num_points, 0);
  for (const char* const text : {"2147483647 1 1 2 3", "1 1 2147483647 2 3 4 5 6 7", "1 1 -1 2 3"}) {
    EXPECT_LT(largestBlock([&] { EXPECT_EQ(Loaded(text).tracker->num_points, 0); }), kModest);
  }
}

TEST(FastShapeTracker, anUnreadableFileIsNamed) {
  for (const char* const name : {"none/shape.flp", "."}) {
    EXPECT_EQ(said([&] { EXPECT_EQ(FastShapeTracker(name).num_points, 0); }),
              std::string("flat lp file ") + name + " cannot be read\n");
  }
  Loaded empty("0");
  EXPECT_EQ(empty.messages, "");
  EXPECT_EQ(empty.tracker->num_points, 0);
}

TEST(FastShapeTracker, stepsStartWhereThePointsWerePlaced) {
  // The y part samples the pixel of the position before x moves.
  const Point point{{1, 1, 2, {{0, 0, 0, 1}}, 0}, {2, 3, 4, {{0, 0, 0, 1}}, 0}};
  Loaded loaded({point, point}), other({point, point, point});
  CImg<float> image(40, 40, 1, 1, 0.0F);
  image(10, 20) = 2550.0F;
  FastShapeTracker& tracker = *loaded.tracker;
  EXPECT_EQ(tracker.GetPos(1), tracker.all_pos[1]);
  EXPECT_EQ(tracker.all_pos[1][0], 3.0);

  other.tracker->SetPos(0, 10.5, 20.5);
  double** const moved = tracker.Predict(image, other.tracker.get());
  EXPECT_EQ(moved[0][0], 0.5);
  EXPECT_EQ(moved[0][1], 15.5);
  EXPECT_EQ(moved[1][0], 3.0);
  EXPECT_EQ(other.tracker->GetPos(0)[0], 10.5);

  tracker.all_pos[0][0] = 7.0;
  tracker.all_pos[0][1] = 21.0;
  tracker.AddOffset(3.5, -1.0);
  tracker.Predict(image);
  EXPECT_EQ(tracker.GetPos(0)[0], 0.5);
  EXPECT_EQ(tracker.GetPos(1)[0], 6.5);
}

TEST(FastShapeTracker, ignoresPointsThatItDoesNotHave) {
  Loaded loaded({{{1, 1, 2, {}, 0}, {1, 1, 2, {}, 0}}});
  for (const int index : {-1, 1}) {
    EXPECT_EQ(loaded.tracker->GetPos(index), nullptr);
    EXPECT_TRUE(isOneLine(said([&] { loaded.tracker->SetPos(index, 9, 9); }),
                          "there is no feature point " + std::to_string(index)));
  }
  EXPECT_EQ(loaded.tracker->GetPos(0)[0], 1.0);
}

}  // namespace
