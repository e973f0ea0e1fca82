// The rendered scene: what it says of its points must hold in its pictures.
#include "scene/scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include "follow/annotation/shape_files.h"
#include "follow/base/hash.h"

namespace {

using namespace remora;
using namespace remora::tools;

constexpr int kMildFrames = 120;
constexpr int kFrames = 240;

double distance(const Point& a, const Point& b) { return std::hypot(a.x - b.x, a.y - b.y); }

Point middle(const Shape& points) {
  Point sum;
  for (const Point& p : points) sum = {sum.x + p.x, sum.y + p.y};
  const auto count = static_cast<double>(points.size());
  return {sum.x / count, sum.y / count};
}

// From the first point, the snout, to the last, the base of the tail; in degrees.
double heading(const Shape& points) {
  const Point &snout = points.front(), &tail = points.back();
  return std::atan2(tail.y - snout.y, tail.x - snout.x) * 57.29578;
}

// The linear map that takes points, seen from their middle, nearest to others.
struct Map {
  Map(const Shape& from, const Shape& to) {
    const Point a = middle(from), b = middle(to);
    double uu = 0, uv = 0, vv = 0, xu = 0, xv = 0, yu = 0, yv = 0;
    for (std::size_t i = 0; i < from.size(); ++i) {
      const double u = from[i].x - a.x, v = from[i].y - a.y;
      const double x = to[i].x - b.x, y = to[i].y - b.y;
      uu += u * u, uv += u * v, vv += v * v;
      xu += x * u, xv += x * v, yu += y * u, yv += y * v;
    }
    const double d = uu * vv - uv * uv;
    xx = (xu * vv - xv * uv) / d, xy = (xv * uu - xu * uv) / d;
    yx = (yu * vv - yv * uv) / d, yy = (yv * uu - yu * uv) / d;
  }
  Point operator()(double u, double v) const { return {xx * u + xy * v, yx * u + yy * v}; }
  double size() const { return std::sqrt(std::abs(xx * yy - xy * yx)); }
  // How much shorter things become in one direction than in another.
  double narrowness() const {
    const double turned = std::hypot(xx + yy, yx - xy), mirrored = std::hypot(xx - yy, yx + xy);
    return (turned - mirrored) / (turned + mirrored);
  }
  double xx, xy, yx, yy;
};

double greyAt(const SceneFrame& frame, int x, int y) {
  return frame.grey.at(static_cast<unsigned>(y * frame.width + x));
}

// Between pixels, too.
double greyAt(const SceneFrame& frame, const Point& p) {
  const int x = static_cast<int>(std::floor(p.x)), y = static_cast<int>(std::floor(p.y));
  const double right = p.x - x, down = p.y - y;
  return (greyAt(frame, x, y) * (1 - right) + greyAt(frame, x + 1, y) * right) * (1 - down) +
         (greyAt(frame, x, y + 1) * (1 - right) + greyAt(frame, x + 1, y + 1) * right) * down;
}

// The line of values `b` over values `a` that is nearest: b = gain * a + offset.
struct Line {
  void add(double a, double b) {
    ++n, sum_a += a, sum_b += b, sum_aa += a * a, sum_ab += a * b, sum_bb += b * b;
  }
  double gain() const { return covariance() / varianceOfA(); }
  double correlation() const { return covariance() / std::sqrt(varianceOfA() * varianceOfB()); }
  // The deviation of b from the line.
  double residual() const { return std::sqrt(varianceOfB() - gain() * covariance()); }
  double varianceOfA() const { return sum_aa / n - sum_a * sum_a / n / n; }
  double varianceOfB() const { return sum_bb / n - sum_b * sum_b / n / n; }
  double covariance() const { return sum_ab / n - sum_a * sum_b / n / n; }
  double n = 0, sum_a = 0, sum_b = 0, sum_aa = 0, sum_ab = 0, sum_bb = 0;
};

// How alike the surroundings of two places are, one mapped to the other.
double likeness(const SceneFrame& from, const Point& a, const SceneFrame& to, const Point& b,
                const Map& map) {
  constexpr int kHalf = 5;
  Line line;
  for (int v = -kHalf; v <= kHalf; ++v) {
    for (int u = -kHalf; u <= kHalf; ++u) {
      const Point moved = map(u, v);
      line.add(greyAt(from, {a.x + u, a.y + v}), greyAt(to, {b.x + moved.x, b.y + moved.y}));
    }
  }
  return line.correlation();
}

struct Range {
  void add(double value) { least = std::min(least, value), most = std::max(most, value); }
  double least = 1e9, most = -1e9;
};

// What a measure of a frame's points says of the frames from `first` to the one before `end`.
template <class Measure>
Range over(const Scene& scene, int first, int end, Measure measure) {
  Range range;
  for (int i = first; i < end; ++i) range.add(measure(scene.truth(i).points, i));
  return range;
}

TEST(Scene, staysTheSameWhereNothingIsMadeHard) {
  Hash hash;
  for (const int frame : {0, 119, 239}) {
    const SceneFrame picture = Scene(1).render(frame);
    hash.bytes(picture.grey.data(), picture.grey.size()).text(formatShapes({picture.points}));
  }
  EXPECT_EQ(hash.digits(), "fc6bc742580728fb");
  EXPECT_NE(Scene(2).render(119).grey, Scene(1).render(119).grey);
}

TEST(Scene, keepsItsPointsInThePicture) {
  for (const NamedVariant& each : kSceneVariants) {
    for (const unsigned seed : {1U, 2U, 3U, 11U}) {
      const Range margin =
          over(Scene(seed, each.variant), 0, kFrames, [](const Shape& points, int) {
            Range inside;
            for (const Point& p : points) inside.add(std::min({p.x, p.y, 399 - p.x, 299 - p.y}));
            return inside.least;
          });
      EXPECT_GT(margin.least, 25.0) << each.name << ' ' << seed;
    }
  }
}

TEST(Scene, movesLittleAtFirstAndMuchLater) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    const Scene turn(seed, SceneVariant::kTurn);
    const auto angle = [](const Shape& points, int) { return heading(points); };
    const auto turned = [&](const Shape& points, int i) {
      return std::abs(heading(points) - heading(turn.truth(i - 1).points));
    };
    constexpr double kBend = 2.5;  // the body's own
    EXPECT_GT(over(turn, 0, kMildFrames, angle).least, -8.0 - kBend);
    EXPECT_LT(over(turn, 0, kMildFrames, angle).most, 8.0 + kBend);
    EXPECT_NEAR(over(turn, kMildFrames, kFrames, angle).least, -60.0, kBend);
    EXPECT_NEAR(over(turn, kMildFrames, kFrames, angle).most, 60.0, kBend);
    EXPECT_LT(over(turn, 1, kFrames, turned).most, 5.5);

    const Scene zoom(seed, SceneVariant::kZoom);
    const auto size = [first = zoom.truth(0).points](const Shape& points, int) {
      return Map(first, points).size();
    };
    const Range mild = over(zoom, 0, kMildFrames, size);
    const Range strong = over(zoom, kMildFrames, kFrames, size);
    const double normal = (mild.least + mild.most) / 2.0;
    EXPECT_LT(mild.most / normal, 1.09);
    EXPECT_NEAR(strong.least / normal, 0.55, 0.03);
    EXPECT_NEAR(strong.most / normal, 1.8, 0.06);

    const Scene tilt(seed, SceneVariant::kTilt);
    const auto narrowness = [plain = Scene(seed)](const Shape& points, int i) {
      return Map(plain.truth(i).points, points).narrowness();
    };
    EXPECT_GT(over(tilt, 0, kMildFrames, narrowness).least, 0.975);
    EXPECT_NEAR(over(tilt, kMildFrames, kFrames, narrowness).least, 0.66, 0.05);

    const Scene fast(seed, SceneVariant::kFast);
    const auto step = [&](const Shape& points, int i) {
      return distance(middle(points), middle(fast.truth(i - 1).points));
    };
    EXPECT_LT(over(fast, 1, kMildFrames, step).most, 4.0);
    EXPECT_LT(over(fast, 150, 160, step).most, 18.0);
    EXPECT_NEAR(over(fast, 230, kFrames, step).most, 38.0, 3.0);
  }
}

// What surrounds each visible point is most like what surrounds it in a frame of the same fish when
// it is taken from the very place.
void expectShown(const SceneFrame& from, const SceneFrame& to) {
  constexpr int kSearch = 6;
  constexpr double kStep = 0.5;
  const Map map(from.points, to.points);
  for (std::size_t p = 0; p < to.points.size(); ++p) {
    if (to.hidden[p]) continue;
    double most = 0.6;
    Point best{99, 99};
    for (int y = -kSearch; y <= kSearch; ++y) {
      for (int x = -kSearch; x <= kSearch; ++x) {
        const Point place = {to.points[p].x + x * kStep, to.points[p].y + y * kStep};
        const double like = likeness(from, from.points[p], to, place, map);
        if (like > most) best = place;
        most = std::max(most, like);
      }
    }
    EXPECT_LE(distance(best, to.points[p]), kStep) << Scene::pointNames()[p];
  }
}

TEST(Scene, showsItsPointsWhereTheyAre) {
  const Scene plain(1);
  expectShown(plain.render(100), plain.render(101));
  for (const int number : {199, 239}) {
    const SceneFrame from = plain.render(number);
    for (const NamedVariant& each : kSceneVariants) {
      SCOPED_TRACE(each.name + std::to_string(number));
      if (each.variant != SceneVariant::kPlain) {
        expectShown(from, Scene(1, each.variant).render(number));
      }
    }
  }
}

TEST(Scene, hidesPointsBehindPlanks) {
  const Scene scene(1, SceneVariant::kHide);
  Range mild, strong;
  for (int i = 0; i < kFrames; ++i) {
    const std::vector<bool> hidden = scene.truth(i).hidden;
    const auto count = std::count(hidden.begin(), hidden.end(), true);
    (i < kMildFrames ? mild : strong).add(static_cast<double>(count));
  }
  EXPECT_EQ(mild.most, 0.0);
  EXPECT_NEAR(strong.most, 5.0, 1.0);

  // Where no plank is, the picture is the plain one to the last pixel.
  int counts[] = {0, 0};
  for (const int number : {140, 154, 170, 185, 210}) {
    const SceneFrame frame = scene.render(number);
    const SceneFrame plain = Scene(1).render(number);
    for (std::size_t p = 0; p < frame.points.size(); ++p) {
      const auto x = static_cast<int>(std::lround(frame.points[p].x));
      const auto y = static_cast<int>(std::lround(frame.points[p].y));
      int changed = 0;  // of nine pixels
      for (const int v : {y - 1, y, y + 1}) {
        for (const int u : {x - 1, x, x + 1}) {
          changed += std::abs(greyAt(frame, u, v) - greyAt(plain, u, v)) > 3.0;
        }
      }
      if (changed > 0 && changed < 9) continue;  // at the edge of a plank
      EXPECT_EQ(frame.hidden[p], changed == 9) << number << ' ' << p;
      ++counts[changed / 9];
    }
  }
  EXPECT_GT(counts[0], 10);
  EXPECT_GT(counts[1], 10);
}

// The greys around the middle of one picture over those of another.
Line comparison(const SceneFrame& a, const SceneFrame& b) {
  Line line;
  for (int y = 100; y < 200; ++y) {
    for (int x = 130; x < 270; ++x) line.add(greyAt(a, x, y), greyAt(b, x, y));
  }
  return line;
}

TEST(Scene, changesLightAndNoiseOnlyLater) {
  const Scene plain(2);
  const SceneFrame mild = plain.render(kMildFrames - 1);
  for (const auto variant : {SceneVariant::kLight, SceneVariant::kHide, SceneVariant::kNoise}) {
    EXPECT_EQ(Scene(2, variant).render(kMildFrames - 1).grey, mild.grey);
  }
  Range gain;
  for (const int number : {199, 239}) {
    const SceneFrame frame = Scene(2, SceneVariant::kLight).render(number);
    gain.add(comparison(plain.render(number), frame).gain());
    const auto lost = std::count_if(frame.grey.begin(), frame.grey.end(),
                                    [](unsigned char grey) { return grey == 0 || grey == 255; });
    EXPECT_LT(lost, 0.03 * static_cast<double>(frame.grey.size()));
  }
  EXPECT_NEAR(gain.least, 0.55, 0.1);
  EXPECT_NEAR(gain.most, 1.55, 0.15);
  for (const auto& [number, deviation] : {std::pair{140, 1.5}, {180, 9.2}, {239, 18.0}}) {
    const SceneFrame frame = Scene(2, SceneVariant::kNoise).render(number);
    EXPECT_NEAR(comparison(plain.render(number), frame).residual(), deviation, 0.5) << number;
  }
}

}  // namespace
