// Tracked points drawn on frames, and what becomes of them.
#include <set>

#include "follow/footage/png_files.h"
#include "follow/footage/sequences.h"
#include "follow/footage/video.h"
#include "follow/render/tracks_drawing.h"
#include "videos.h"

namespace {

namespace fs = std::filesystem;
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

constexpr int kShown = 10;  // frames of the footage below

// Tracks of two points in all of its frames; names hold what could be taken for something else.
std::string table(const std::string& name) {
  std::string rows = "frame,point,name,x,y,confidence,status\n";
  for (int i = 0; i < kShown; ++i) {
    rows += std::to_string(i) + ",0,left ü-%s%n," + std::to_string(30 + i) + ",30,0.99,tracked\n";
    rows += std::to_string(i) + ",1,<b>鱼\\," + std::to_string(60 + i) + ",35,0.2,occluded\n";
  }
  return file(name, rows);
}

// Grey frames of odd size, as pictures.
const std::string& pictures() {
  static const std::string base = [] {
    fs::create_directory(pathTo("plain"));
    const std::string made = pathTo("plain/p");
    for (int i = 0; i < kShown; ++i) {
      const auto level = static_cast<unsigned char>(60 + 8 * i);
      savePng(Picture{101, 61, 1, std::vector<unsigned char>(101 * 61, level)}.view(),
              frameFile(made, i));
    }
    return made;
  }();
  return base;
}

// A video of these pictures.
std::string filmed(const std::string& options, const std::string& name) {
  return ffmpeg("-framerate 30000/1001 -i " + pictures() + ".%05d.png " + options, name);
}

std::vector<FootageFrame> read(const std::string& video) {
  VideoReader reader({video, 0, {}});
  std::vector<FootageFrame> frames;
  for (FootageFrame frame; reader.next(frame);) frames.push_back(frame);
  return frames;
}

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

std::string room(const std::string& name) {
  fs::create_directory(pathTo(name));
  return pathTo(name) + '/';
}

// Fails with one line that holds these, and leaves the folder as it is.
void expectRefusal(const std::string& arguments, const std::string& folder,
                   const std::vector<std::string>& parts, int status = 1) {
  const auto before = namesIn(folder);
  run("render " + arguments, status);
  std::string said = contentsOf(pathTo("err.txt"));
  EXPECT_EQ(said.rfind("remora: "), said.find("remora: ")) << said;
  said = said.substr(said.find("remora: "));
  ASSERT_FALSE(said.empty());
  said.pop_back();
  expectNamed(said, parts);
  EXPECT_EQ(namesIn(folder), before) << arguments;
}

TEST(Render, keepsTimesAndPlacesInSizesThatVideosCanHave) {
  SKIP_WITHOUT_FFMPEG();
  const std::string tracks = table("times.csv"), folder = room("times");
  const std::string uneven =
      filmed("-vf select='lt(mod(n\\,5)\\,3)' -fps_mode passthrough -c:v ffv1", "uneven.mkv");
  const std::string out = folder + "a %d:b.mp4";
  run("render " + tracks + " " + uneven + " -o '" + out + "' --enlarge 1 --no-numbers --no-names");
  const auto given = read(uneven), shown = read(out);
  ASSERT_EQ(shown.size(), 6U);
  for (std::size_t i = 0; i < shown.size(); ++i) {
    EXPECT_NEAR(shown[i].time, given[i].time, 2e-6) << i;
    const Picture& picture = shown[i].picture;
    ASSERT_EQ(picture.width, 102);
    ASSERT_EQ(picture.height, 62);
    const auto x = 30 + static_cast<int>(i);
    const unsigned char* const at =
        &picture.pixels[static_cast<std::size_t>(30 * 102 + x) * 3];  // a green mark
    EXPECT_GT(at[1], at[0] + 40) << i;
    const int ground = picture.pixels[(61 * 102 + 101) * 3 + 1];
    EXPECT_NEAR(ground, given[i].picture.pixels[1], 3) << i;
  }
  const std::string even = filmed("-c:v libx264 -bf 2 -pix_fmt yuv444p", "even.mp4");
  run("render " + tracks + " " + even + " -o " + folder + "slow.mkv --slow 4 --frames 2-9/2");
  const auto slow = read(folder + "slow.mkv");
  ASSERT_EQ(slow.size(), 4U);
  EXPECT_NEAR(slow[3].time, 6 * 4 * 1001.0 / 30000.0, 0.0011);
  const std::string probe = "ffprobe -v error -show_streams -show_format '";
  const std::string wanted =
      "' | grep -c -x -e codec_name=h264 -e pix_fmt=yuv420p -e r_frame_rate=30000/1001 "
      "-e nb_streams=1 | grep -q -x 4";
  run("render " + tracks + " " + even + " -o " + folder + "even.mp4");
  EXPECT_EQ(std::system((probe + folder + "even.mp4" + wanted).c_str()), 0);
  EXPECT_EQ(namesIn(folder), (std::set<std::string>{"a %d:b.mp4", "even.mp4", "slow.mkv"}));
}

TEST(Render, takesTurnedVideosAndMakesAnimations) {
  SKIP_WITHOUT_FFMPEG();
  const std::string tracks = table("turned.csv"), folder = room("turned");
  const std::string lying = filmed("-c:v libx264 -pix_fmt yuv444p", "lying.mp4");
  const std::string turned = ffmpeg("-i " + lying + " -c copy -metadata:s:v rotate=90", "up.mp4");
  run("render " + tracks + " " + turned + " -o " + folder + "up.mp4 --enlarge 2");
  const auto up = read(folder + "up.mp4");
  ASSERT_EQ(up.size(), static_cast<std::size_t>(kShown));
  EXPECT_EQ(up[0].picture.width, 122);
  EXPECT_EQ(up[0].picture.height, 202);
  // Of 100 frames a second, viewers could show every second one.
  run("render " + tracks + " --sequence " + pictures() + ":0 --rate 100 -o " + folder +
      "fast.gif --crop 31x21+20+20");
  EXPECT_EQ(read(folder + "fast.gif").size(), 5U);
  run("render " + tracks + " --sequence " + pictures() + ":3:1 -o " + folder + "one.mp4");
  EXPECT_EQ(read(folder + "one.mp4").size(), 1U);
}

TEST(Render, writesPicturesAndReplacesItsOwn) {
  const std::string tracks = table("pictures.csv"), folder = room("pictures");
  const std::string images = " --sequence " + pictures() + ":0";
  const std::string rendering = tracks + images + " -o " + folder + "out/";
  run("render " + rendering);
  EXPECT_EQ(namesIn(folder + "out").size(), static_cast<std::size_t>(kShown));
  const std::string plain = contentsOf(folder + "out/00004.png");
  run("render " + rendering + " --frames 4 --lines 'left ü-%s%n-<b>鱼\\'");
  EXPECT_EQ(namesIn(folder + "out"), std::set<std::string>{"00004.png"});
  EXPECT_NE(contentsOf(folder + "out/00004.png"), plain);
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"out"});

  const std::string own = folder + "out/00004.png";
  const std::string kept = contentsOf(own);
  expectRefusal(tracks + " " + own + " -o " + folder + "out", folder, {own, "to read"});
  std::ofstream(folder + "out/notes.txt") << "mine";
  expectRefusal(rendering, folder, {"notes.txt", "no picture of an earlier rendering"});
  EXPECT_EQ(namesIn(folder + "out").size(), 2U);
  EXPECT_EQ(contentsOf(own), kept);
}

TEST(Render, leavesNothingOfWhatFails) {
  const std::string tracks = table("failing.csv"), folder = room("failing");
  const std::string images = " --sequence " + pictures() + ":0 -o " + folder;
  expectRefusal(tracks + images + "o/ --crop 50x50+60+0", folder, {"50 x 50", "101 x 61"});
  expectRefusal(tracks + images + "o/ --frames 200", folder, {"none of the frames"});
  const std::string others =
      file("others.csv", "frame,point,name,x,y,confidence,status\n77,0,a,1,1,1,tracked\n");
  expectRefusal(others + images + "o/", folder, {others, "tracks none"});
  expectRefusal(tracks + images + "o.avi", folder, {"o.avi", ".mp4"}, 2);
  expectRefusal(tracks + images + "o/ --lines left-nose", folder, {"left-nose"}, 2);
  expectRefusal(tracks + images + "o/ --crop 5x5", folder, {"5x5", "WIDTH"}, 2);
  expectRefusal(tracks + images + "o/ --slow nan", folder, {"--slow", "numbers"}, 2);
  expectRefusal(tracks + images + "none/o/", folder, {"none/o"});
  const std::string path = std::getenv("PATH");
  setenv("PATH", pathTo("").c_str(), 1);
  expectRefusal(tracks + images + "o.mp4", folder, {"o.mp4", "apt-get install ffmpeg"});
  setenv("PATH", path.c_str(), 1);

  SKIP_WITHOUT_FFMPEG();
  std::ofstream(folder + "o.mp4") << "an earlier one";
  const std::string whole = filmed("-c:v ffv1 -g 1", "whole.mkv");
  fs::resize_file(whole, fs::file_size(whole) * 2 / 3);
  expectRefusal(tracks + " " + whole + " -o " + folder + "o.mp4", folder, {"whole.mkv", "ends"});
  EXPECT_EQ(contentsOf(folder + "o.mp4"), "an earlier one");
  expectRefusal(tracks + " " + whole + " -o " + whole, folder, {"whole.mkv", "to read"});
  // A disk that fills up: more frames than the limit of a file's size has room for.
  const std::string limited = "ulimit -f 1; '" REMORA_PROGRAM "' render " + tracks + images +
                              "full.mp4 --enlarge 16 2>" + pathTo("full.txt");
  EXPECT_NE(std::system(limited.c_str()), 0);
  EXPECT_NE(contentsOf(pathTo("full.txt")).find("full.mp4"), std::string::npos);
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"o.mp4"});
}

}  // namespace
