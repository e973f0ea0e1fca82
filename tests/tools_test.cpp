// What the verbs of the program share.
#include <limits>

#include "common/canvas.h"
#include "common/cascade.h"
#include "common/evaluation.h"
#include "common/failure.h"
#include "common/files.h"
#include "common/frames.h"
#include "common/inspection.h"
#include "common/model.h"
#include "common/overlay.h"
#include "common/text.h"
#include "common/tracks.h"
#include "support.h"

namespace {

using namespace remora::tools;

// What a failing action says.
template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

void expectNamed(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in: " << text;
  }
}

std::size_t filesIn(const std::string& folder) {
  const std::filesystem::directory_iterator files(folder);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(NewFiles, appearWholeOrNotAtAll) {
  const std::string folder = pathTo("new-files");
  makeFolder(folder);
  const std::string name = folder + "/data.txt";
  writeFile(name, "first");
  {
    const NewFile abandoned(name);
    fill(abandoned, "second");
    EXPECT_EQ(contentsOf(name), "first");
    EXPECT_EQ(filesIn(folder), 2U);
  }
  EXPECT_EQ(contentsOf(name), "first");
  EXPECT_EQ(filesIn(folder), 1U);
  writeFile(name, "third");
  EXPECT_EQ(contentsOf(name), "third");
  EXPECT_EQ(filesIn(folder), 1U);

  const std::string link = folder + "/link.txt";
  std::filesystem::create_symlink("data.txt", link);
  writeFile(link, "fourth");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(contentsOf(name), "fourth");

  expectNamed(refusal([&] { writeFile("/dev/full", "x"); }), {"/dev/full", "No space"});
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
  expectNamed(refusal([&] { requireWritable(folder); }), {folder, "folder"});
  const std::string nowhere = folder + "/missing/data.txt";
  expectNamed(refusal([&] { writeFile(nowhere, "x"); }), {nowhere, "No such file"});
  expectNamed(refusal([&] { makeFolder(name); }), {name});
  expectNamed(refusal([&] { readFile(folder); }), {folder, "folder"});
}

TEST(Sequences, areListedUpToTheFirstMissingFrame) {
  const std::string base = pathTo("seq:shot");
  for (const int number : {5, 6, 7, 9}) writeFile(frameFile(base, number), "");
  const std::vector<Frame> frames = listSequence(base + ":5");
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[2].number, 7);
  EXPECT_EQ(frames[2].file, base + ".00007.png");
  EXPECT_EQ(listSequence(base + ":5:2").size(), 2U);
  for (const char* missing : {":8", ":6:4", ":5:2147483647"}) {
    expectNamed(refusal([&] { listSequence(base + missing); }), {".00008.png"});
  }
  writeFile(frameFile(base, 2147483647), "");
  EXPECT_EQ(listSequence(base + ":2147483647").size(), 1U);
  for (const char* bad : {"shot", "shot:", "shot:x", "shot:1:0", "shot:1:-2"}) {
    expectNamed(refusal([&] { listSequence(bad); }), {bad, "BASE:START"});
  }
  EXPECT_EQ(parseNumberedFile("a:b.txt:12").name, "a:b.txt");
  EXPECT_EQ(parseNumberedFile("a:b.txt:12").number, 12);
  EXPECT_EQ(parseNumberedFile("a:b.txt").name, "a:b.txt");
}

Tracks sampleTracks() {
  return {{"left", "right"}, {3, 4}, {{{1.5, 2.25}, {-3, 4}}, {{5, 6}, {7.125, 8}}}};
}

TEST(TrackTables, areReadBackAndNamedLineByLine) {
  const std::string table = formatCsv(sampleTracks());
  const Tracks read = readTracks(file("tracks.csv", table), 0);
  EXPECT_EQ(formatCsv(read), table);
  EXPECT_EQ(read.frame_numbers, (std::vector<int>{3, 4}));

  const std::string header = "frame,point,name,x,y\n";
  const std::pair<std::string, std::string> faults[] = {
      {"3,0,a,1\n", "line 2"},
      {"3,0,a,1,2,3\n", "line 2"},
      {"3,1,a,1,2\n", "line 2"},
      {"3,0,a,1,2\n3,0,a,1,2\n", "line 3"},
      {"x,0,a,1,2\n", "line 2"},
      {"3,0,a,1,two\n", "line 2"},
      {"3,0,a,1,2\n3,1,b,1,2\n4,0,a,1,2\n", "frame 4"}};
  for (const auto& [rows, place] : faults) {
    const std::string name = file("fault.csv", header + rows);
    expectNamed(refusal([&] { readTracks(name, 0); }), {name, place});
  }
}

TEST(Errors, aPositionThatIsNoNumberIsLost) {
  Tracks tracks = sampleTracks();
  const std::vector<Shape> truth = tracks.shapes;
  tracks.shapes[1][0].x = std::numeric_limits<double>::quiet_NaN();
  const Evaluation result = evaluate(tracks, truth, 3, 5.0, {0, 9});
  EXPECT_EQ(result.points[0].lost, 0.5);
  EXPECT_EQ(result.points[0].worst, std::numeric_limits<double>::infinity());
  EXPECT_EQ(result.points[1].worst, 0.0);
  expectNamed(refusal([&] { evaluate(tracks, truth, 4, 5.0, {0, 9}); }), {"frame 3"});
  expectNamed(refusal([&] { evaluate(tracks, truth, 3, 5.0, {5, 9}); }), {"no frames"});
}

TEST(Models, areReadBackAndRefusedWhenTheyMakeNoSense) {
  Model model;
  model.stages = {{20.0F, 2, "c"}, {7.5F, 1, ""}};
  model.point_names = {"a", "b"};
  model.scale = 0.5F;
  const std::string folder = pathTo("model-folder");
  makeFolder(folder);
  const std::string text = formatModel(model);
  writeFile(modelFile(folder), text);
  EXPECT_EQ(formatModel(readModel(folder)), text);

  const std::pair<std::string, std::string> spoilt[] = {
      {"\"remora model\"", "\"other\""},  {"\"version\": 1", "\"version\": 99"},
      {"\"scale\": 0.5", "\"scale\": 0"}, {"\"scale\": 0.5", "\"scale\": \"big\""},
      {"\"steps\": 2", "\"steps\": 0"},   {"\"radius\": 7.5", "\"radius\": -1"},
      {"\"points\"", "\"pints\""},        {"{", ""}};
  for (const auto& [good, bad] : spoilt) {
    std::string changed = text;
    changed.replace(changed.find(good), good.size(), bad);
    writeFile(modelFile(folder), changed);
    expectNamed(refusal([&] { readModel(folder); }), {modelFile(folder), "not valid"});
  }
  EXPECT_EQ(parseSteps("3,1", 2), (std::vector<int>{3, 1}));
  for (const char* bad : {"", "1", "1,0", "1,x", "1,1,1"}) {
    expectNamed(refusal([&] { parseSteps(bad, 2); }), {"2 positive numbers"});
  }
}

// One point whose single predictor answers (image - template) * 255 in x: it walks down a ramp.
constexpr char kRampWalker[] = "1\n1\n1\n40 30\n0 0\n0.0 \n255.0 \n-20.0\n1\n0\n40 30\n\n\n0.0\n";

TEST(Frames, areGreyFromBlackToWhiteWhateverTheirDepth) {
  CImg<float> colours(2, 1, 1, 4, 0.0F);
  for (int x = 0; x < 2; ++x) {
    for (int c = 0; c < 3; ++c) colours(x, 0, 0, c) = static_cast<float>(x == 0 ? 10 * c + 1 : 77);
  }
  colours.save_png(pathTo("colours.png").c_str());
  const CImg<float> grey = toGrey(loadFrame(pathTo("colours.png")));
  EXPECT_TRUE(grey.is_sameXYZC(2, 1, 1, 1));
  EXPECT_EQ(grey(0), static_cast<float>((0.299 * 1) + (0.587 * 11) + (0.114 * 21)));
  EXPECT_EQ(grey(1), 77.0F);

  const CImg<float> wanted(3, 1, 1, 1, "255,0,85", false);
  const CImg<float> deep = 257.0F * wanted;
  deep.save_png(pathTo("deep.png").c_str(), 2);
  deep.save_pnm(pathTo("deep.pgm").c_str(), 2);
  file("shallow.pgm", "P2 3 1 3 3 0 1");
  wanted.get_append(wanted, 'c').save_png(pathTo("clear.png").c_str());
  wanted.save_pfm(pathTo("real.pfm").c_str());
  for (const char* name : {"deep.png", "deep.pgm", "shallow.pgm", "clear.png", "real.pfm"}) {
    EXPECT_EQ(toGrey(loadFrame(pathTo(name))), wanted) << name;
  }
  const std::string black = file("black.pgm", "P2 3 1 0 0 0 0");
  expectNamed(refusal([&] { loadFrame(black); }), {black, "above 0"});
}

TEST(Canvases, showEveryPlaceOfTheFrameWhereTheySay) {
  CImg<float> ramps(301, 113), down(301, 113);
  cimg_forXY(ramps, x, y) {
    ramps(x, y) = static_cast<float>(x);
    down(x, y) = static_cast<float>(y);
  }
  for (const float scale : {0.7F, 0.9F, 0.33F, 1.0F, 1.37F}) {
    const Canvas canvas(301, 113, scale);
    const CImg<float> across = canvas.prepare(ramps);
    const CImg<float> upright = canvas.prepare(down);
    EXPECT_EQ(across.width(), std::lround(301 * static_cast<double>(scale)));
    const int margin = 5;  // where the edge of the frame bends the ramp
    cimg_for_insideXY(across, x, y, margin) {
      const Point place = canvas.toFrame(Point{1.0 * x, 1.0 * y});
      ASSERT_NEAR(across(x, y), place.x - 0.5, 0.51) << scale << ", column " << x;
      ASSERT_NEAR(upright(x, y), place.y - 0.5, 0.51) << scale << ", row " << y;
    }
  }
  const Canvas canvas(301, 113, 0.33F);
  const Point back = canvas.toFrame(canvas.fromFrame(Point{100.25, 60.5}));
  EXPECT_NEAR(back.x, 100.25, 1e-9);
  EXPECT_NEAR(back.y, 60.5, 1e-9);
}

TEST(Cascades, goOnFromWhereThePointsArePlaced) {
  const std::string folder = pathTo("cascade");
  makeFolder(folder);
  writeFile(flatFile(folder, 0), kRampWalker);
  Model model;
  model.stages = {{10.0F, 1, ""}};
  model.point_names = {"p"};
  Cascade cascade(folder, model);
  EXPECT_EQ(cascade.positions()[0].x, 40.0);
  cascade.place({{32.5, 25.0}});
  CImg<float> ramp(100, 50);
  cimg_forXY(ramp, x, y) ramp(x, y) = static_cast<float>(x);
  cascade.track(ramp);
  EXPECT_EQ(cascade.positions()[0].x, 20.5);  // to where the ramp has 20
  EXPECT_EQ(cascade.positions()[0].y, 25.0);

  model.point_names = {"p", "q"};
  expectNamed(refusal([&] { Cascade(folder, model); }), {flatFile(folder, 0), "points"});
}

TEST(Inspection, tellsFilesApartAndRefusesWhatIsCutShort) {
  EXPECT_EQ(inspectFile(file("k", kRampWalker))->kind, FileKind::kFlat);
  const std::string bunches = std::string("1\n") + kBunch;
  const auto info = inspectFile(file("k", bunches));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->kind, FileKind::kBunches);
  EXPECT_EQ(info->points[0].x_support_pixels, 2);
  for (const std::string& text : {std::string(kRampWalker), bunches}) {
    EXPECT_FALSE(inspectFile(file("k", text + " 1.5"))) << text;
    const std::size_t last_number = text.find_last_of(" \n", text.size() - 2);
    EXPECT_FALSE(inspectFile(file("k", text.substr(0, last_number)))) << text;
  }
  EXPECT_FALSE(inspectFile(file("k", " \n")));
}

TEST(Overlays, markEveryPointOnAnEnlargedFrame) {
  Tracks tracks = sampleTracks();
  tracks.shapes = {{{60, 50}, {100, 60}}, {{70, 50}, {std::nan(""), 60}}};
  const CImg<unsigned char> picture = drawOverlay(CImg<float>(160, 120, 1, 1, 90), tracks, 1);
  ASSERT_EQ(picture.width(), 640);
  ASSERT_EQ(picture.spectrum(), 3);
  const auto isGrey = [&](int x, int y) {
    return picture(x, y, 0, 0) == picture(x, y, 0, 1) && picture(x, y, 0, 1) == picture(x, y, 0, 2);
  };
  EXPECT_FALSE(isGrey(70 * 4 + 2, 50 * 4 + 2));  // the cross
  EXPECT_FALSE(isGrey(65 * 4 + 2, 50 * 4 + 2));  // the trail
  EXPECT_TRUE(isGrey(100 * 4 + 2, 60 * 4 + 2));  // where a point was lost
}

}  // namespace
