// Tracked points drawn on frames, and what becomes of them.
#include "follow/error.h"
#include "follow/render/tracks_drawing.h"
#include "support.h"

namespace {

using namespace remora;

// So many points in a row, so near to each other that their names do not fit beside them.
Tracks crowd(int count) {
  Tracks tracks;
  tracks.frame_numbers = {0};
  tracks.shapes.resize(1);
  for (int i = 0; i < count; ++i) {
    tracks.names.push_back("point " + std::to_string(i));
    tracks.shapes[0].push_back({100.0 + 9.0 * i, 200.0, 0.9, Status::kTracked});
  }
  return tracks;
}

bool cover(const Box& one, const Box& other) {
  return one.left < other.left + other.width && other.left < one.left + one.width &&
         one.top < other.top + other.height && other.top < one.top + one.height;
}

TEST(Names, coverNoOtherNamesAndStayWhereTheyAre) {
  constexpr int kWidth = 640, kHeight = 480, kNames = 60;
  LabelPlaces places;
  std::vector<Box> first;
  for (int frame = 0; frame < 3; ++frame) {
    places.begin(kWidth, kHeight, 5);
    std::vector<Box> placed;
    for (int i = 0; i < kNames; ++i) {
      const Spot at{20.0 + 30 * (i % 20) + frame, 100.0 + 40 * (i / 20)};
      const auto box = places.place(static_cast<std::size_t>(i), at, 50, 17);
      if (!box) continue;
      EXPECT_TRUE(box->left >= 0 && box->top >= 0 && box->left + box->width <= kWidth);
      for (const Box& other : placed) EXPECT_FALSE(cover(*box, other)) << frame << ' ' << i;
      placed.push_back(*box);
    }
    EXPECT_GT(placed.size(), 50U);
    if (frame == 0) first = placed;
    EXPECT_EQ(placed[0].left, first[0].left + frame);
  }
  // Where no room is left, a name is left out.
  places.begin(100, 40, 5);
  places.keepClear({0, 0, 100, 40});
  EXPECT_FALSE(places.place(0, {50, 20}, 20, 17));
}

TEST(Drawing, changesNothingBesideWhatItDraws) {
  Picture frame{700, 400, 1, std::vector<unsigned char>(700 * 400, 90)};
  frame.pixels[0] = 7;
  const Tracks tracks = crowd(20);
  const Picture plain = TracksDrawing().draw(frame, tracks, {});
  ASSERT_EQ(plain.width, 700);
  for (std::size_t i = 0; i < plain.pixels.size(); ++i) {
    ASSERT_EQ(plain.pixels[i], frame.pixels[i / 3]);
  }
  DrawingStyle style;
  style.names = false;
  const Picture marked = TracksDrawing(style).draw(frame, tracks, 0);
  for (int y = 0; y < 400; ++y) {
    for (int x = 0; x < 700; ++x) {
      const auto at = static_cast<std::size_t>(y * 700 + x) * 3;
      const bool is_near = std::abs(y - 200) < 9 && x > 90 && x < 290;
      if (is_near) continue;
      ASSERT_EQ(marked.pixels[at], plain.pixels[at]) << x << " " << y;
    }
  }
  EXPECT_NE(marked.pixels, plain.pixels);
  // Far points and those that are no numbers do no harm.
  Tracks wild = crowd(4);
  wild.shapes[0][0].x = -1e5;
  wild.shapes[0][1].y = 1e300;
  wild.shapes[0][2].x = std::numeric_limits<double>::quiet_NaN();
  style.lines = {{0, 1}, {1, 2}, {2, 3}, {0, 3}};
  EXPECT_NE(TracksDrawing(style).draw(frame, wild, 0).pixels, plain.pixels);
}

TEST(Drawing, showsPartsInTheirSize) {
  Picture frame{101, 61, 3, std::vector<unsigned char>(101 * 61 * 3, 40)};
  for (int c = 0; c < 3; ++c) frame.pixels[static_cast<std::size_t>(30 * 101 + 50) * 3 + c] = 240;
  Tracks tracks = crowd(1);
  tracks.shapes[0][0] = {50.0, 30.0, 1.0, Status::kTracked};
  DrawingStyle style;
  style.enlargement = 1;
  style.even = true;
  const Picture even = TracksDrawing(style).draw(frame, tracks, {});
  EXPECT_EQ(even.width, 102);
  EXPECT_EQ(even.height, 62);
  const auto brightest = [](const Picture& picture) {
    const auto most = std::max_element(picture.pixels.begin(), picture.pixels.end());
    return static_cast<int>(most - picture.pixels.begin()) / 3;
  };
  EXPECT_EQ(brightest(even), 30 * 102 + 50);
  style.crop = Crop{49, 28, 3, 5};
  style.enlargement = 3;
  style.even = false;
  const Picture part = TracksDrawing(style).draw(frame, tracks, {});
  EXPECT_EQ(part.width, 9);
  EXPECT_EQ(part.height, 15);
  EXPECT_EQ(brightest(part), 7 * 9 + 4);  // the middle of the enlarged pixel
  style.crop = Crop{49, 28, 53, 5};
  EXPECT_THROW(TracksDrawing(style).draw(frame, tracks, {}), Error);
}

}  // namespace
