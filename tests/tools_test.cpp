// What the verbs of the program share.
#include <sys/stat.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "follow/annotation/annotations.h"
#include "follow/annotation/configuration.h"
#include "follow/annotation/recording.h"
#include "follow/annotation/shape_files.h"
#include "follow/annotation/tracks.h"
#include "follow/base/files.h"
#include "follow/base/text.h"
#include "follow/canvas/scaled_frame.h"
#include "follow/error.h"
#include "follow/footage/picture.h"
#include "follow/footage/sequences.h"
#include "follow/model/description.h"
#include "follow/model/model.h"
#include "follow/report/evaluation.h"
#include "follow/report/inspection.h"
#include "follow/report/overlay.h"
#include "follow/tracking/smoothing.h"
#include "follow/tracking/tracker.h"
#include "options.h"
#include "support.h"

namespace {

using namespace remora;
using namespace remora::tools;

// What a failing action says.
template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const Error& failure) {
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

TEST(Files, areReadUpToALimitAndOnlyIfTheyAreRegular) {
  const std::string pipe = pathTo("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& name : {std::string("/dev/zero"), pipe}) {
    expectNamed(refusal([&] { readFile(name); }), {name, "regular"});
    expectNamed(refusal([&] { readShapes(name); }), {name, "regular"});
  }
  const std::string large = file("large", std::string(100001, ' '));
  expectNamed(refusal([&] { readFile(large, 100000); }), {large, "100000 bytes"});
  const std::string grows = "/proc/self/maps";  // its size is said to be 0
  expectNamed(refusal([&] { readFile(grows, 100); }), {grows, "100 bytes"});
  EXPECT_EQ(readText(file("marked",
                          "\xef\xbb\xbf"
                          "a")),
            "a");
  expectNamed(refusal([&] {
                readText(file("wide",
                              "\xff\xfe"
                              "a"));
              }),
              {"wide", "UTF-16"});
}

TEST(Sequences, areListedUpToTheFirstMissingFrame) {
  const std::string base = pathTo("seq:shot");
  const auto list = [&](const std::string& numbers) {
    return listSequence(parseSequence(base + numbers));
  };
  for (const int number : {5, 6, 7, 9, 100000}) writeFile(frameFile(base, number), "");
  const std::vector<Frame> frames = list(":5");
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[2].number, 7);
  EXPECT_EQ(frames[2].file, base + ".00007.png");
  EXPECT_EQ(list(":5:2").size(), 2U);
  std::string told;
  const Notice notice = [&told](const std::string& line) { told += line + '\n'; };
  listSequence({base, 6, 2}, notice);  // a count says where it ends
  listSequence({base, 9, {}}, notice);
  EXPECT_EQ(told, "");
  listSequence({base, 5, {}}, notice);
  EXPECT_EQ(told, "the sequence ends before " + base + ".00008.png, but there is " + base +
                      ".00009.png\n");
  for (const char* missing : {":8", ":6:4", ":5:2147483647"}) {
    expectNamed(refusal([&] { list(missing); }), {".00008.png", "first one is " + base + ".00005"});
  }
  writeFile(frameFile(base, 2147483647), "");
  EXPECT_EQ(list(":2147483647").size(), 1U);
  for (const char* other : {"other_1.bmp", "other.00000.jpg", "other.txt"}) file(other, "");
  expectNamed(refusal([&] {
                listSequence({pathTo("other"), 0, {}});
              }),
              {"other.00000.png", "there is " + pathTo("other.00000.jpg")});
  expectNamed(refusal([&] {
                listSequence({pathTo("no/where"), 0, {}});
              }),
              {"where.00000.png", "no folder " + pathTo("no")});
}

TEST(Options, namesMayHoldColons) {
  EXPECT_EQ(parseSequence("a:b:7").base, "a:b");
  EXPECT_EQ(parseSequence("a:5:7:9").base, "a:5");
  for (const char* bad : {"shot", "shot:", ":3", "shot:x", "shot:1:0", "shot:1:-2"}) {
    expectNamed(refusal([&] { parseSequence(bad); }), {bad, "BASE:START"});
  }
  const std::string there = file("s:3:t.txt", "");
  const auto expectParts = [](const std::string& base, int start, const std::string& shapes) {
    const auto parts = parseAnnotatedSequence(base + ':' + std::to_string(start) + ':' + shapes);
    EXPECT_EQ(std::tie(parts.base, parts.start, parts.shape_file), std::tie(base, start, shapes));
  };
  expectParts("a:b/scene", 0, "a:b/shapes.txt");
  expectParts("a:2:b", -1, "missing.txt");
  expectParts("a:2", 1, there);
  for (const char* bad : {"a:b", "a:0", "a:0:", ":0:b", "a:x:b"}) {
    expectNamed(refusal([&] { parseAnnotatedSequence(bad); }), {bad, "BASE:START:SHAPEFILE"});
  }
  EXPECT_EQ(parseNumberedFile("a:b.txt:12").name, "a:b.txt");
  EXPECT_EQ(parseNumberedFile("a:b.txt:12").number, 12);
  for (const std::string& whole : {std::string("a:b.txt"), file("c:4", "")}) {
    EXPECT_EQ(parseNumberedFile(whole).name, whole);
    EXPECT_EQ(parseNumberedFile(whole).number, std::nullopt);
  }
}

TEST(Options, numbersComeInLists) {
  const auto chosen = [](const std::string& text) {
    std::string digits;
    for (int i = 0; i < 10; ++i)
      digits += isChosen(parseFrameChoice(text), i) ? "0123456789"[i] : ' ';
    return digits;
  };
  EXPECT_EQ(chosen(""), "0123456789");
  EXPECT_EQ(chosen("3"), "   3      ");
  EXPECT_EQ(chosen("-4--2,+8,1-6/2"), " 1 3 5  8 ");
  EXPECT_EQ(chosen("-2147483648-2147483647/3"), " 1  4  7  ");
  EXPECT_EQ(parseRadii("+2e1,7.5"), (std::vector<float>{20.0F, 7.5F}));
  EXPECT_EQ(parseSteps("3,1"), (Ints{3, 1}));
  for (const char* bad : {",", "3-", "5-4", "1-2-3", "1-4/0", "1/2/3", "x", "inf", "2147483648"}) {
    expectNamed(refusal([&] { parseFrameChoice(bad); }), {bad, "FIRST-LAST"});
    expectNamed(refusal([&] { parseRadii(bad); }), {bad, "radii"});
    expectNamed(refusal([&] { parseSteps(bad); }), {bad, "numbers from 1"});
  }
}

TEST(Configurations, areReadWithAnyLineEndAndRefusedWhereTheyEnd) {
  for (const std::string end : {"\n", "\r\n"}) {
    std::string text =
        "\xef\xbb\xbf"
        "2" +
        end;
    for (const std::string line : {"a:b/f", "-3", "s 1.txt", "g", "+4", "t"}) text += line + end;
    const auto sequences = readConfiguration(file("c.cfg", text));
    ASSERT_EQ(sequences.size(), 2U);
    EXPECT_EQ(sequences[0].base, "a:b/f");
    EXPECT_EQ(sequences[0].start, -3);
    EXPECT_EQ(sequences[0].shape_file, "s 1.txt");
    EXPECT_EQ(sequences[1].start, 4);
  }
  const std::pair<const char*, const char*> faults[] = {{"", "line 1"},
                                                        {"0\n", "no sequences"},
                                                        {"x\n", "line 1"},
                                                        {"1\na\n0x\n", "line 3"},
                                                        {"1\na\n\ns\n", "line 3"},
                                                        {"1\n\n0\ns\n", "line 2"},
                                                        {"1\na\n0\n", "line 4"},
                                                        {"2147483647\na\n0\ns\n", "line 5"}};
  for (const auto& [text, place] : faults) {
    const std::string name = file("c.cfg", text);
    expectNamed(refusal([&] { readConfiguration(name); }), {name, place});
  }
}

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

Tracks sampleTracks() {
  return {{"left", "right"},
          {3, 4},
          {{{1.5, 2.25, 1.0, Status::kTracked}, {-3, 4, 0.25, Status::kOccluded}},
           {{5, 6, 0.5, Status::kTracked}, {kUnknown, kUnknown, 0.0, Status::kLost}}}};
}

TEST(TrackTables, areReadBackAndNamedLineByLine) {
  const std::string table = formatTable(sampleTracks());
  EXPECT_EQ(table,
            "frame,point,name,x,y,confidence,status\n3,0,left,1.5000,2.2500,1.000,tracked\n"
            "3,1,right,-3.0000,4.0000,0.250,occluded\n4,0,left,5.0000,6.0000,0.500,tracked\n"
            "4,1,right,,,0.000,lost\n");
  const Tracks read = readTracks(file("tracks.csv", table), 0);
  EXPECT_EQ(formatTable(read), table);
  EXPECT_EQ(read.frame_numbers, (std::vector<int>{3, 4}));

  Tracks timed = sampleTracks();
  timed.times = {0.1001, kUnknown};
  const std::string times = formatTable(timed);
  EXPECT_NE(times.find(",time\n3,0,left,1.5000,2.2500,1.000,tracked,0.100100\n"), times.npos);
  EXPECT_NE(times.find("0.500,tracked,\n"), times.npos);
  EXPECT_EQ(formatTable(readTracks(file("timed.csv", times), 0)), times);

  const std::string header = "frame,point,name,x,y\n";
  const Tracks old = readTracks(file("old.csv", header + "3,0,a,1,2\n"), 0);
  EXPECT_TRUE(std::isnan(old.shapes[0][0].confidence));
  const std::string shapes = file("two.txt", "2 1 5 6 1 7 8");
  EXPECT_EQ(readTracks(shapes, 2147483646).frame_numbers.back(), 2147483647);
  expectNamed(refusal([&] { readTracks(shapes, 2147483647); }), {shapes, "2147483648"});

  const std::pair<std::string, std::string> faults[] = {
      {header + "3,0,a,1\n", "line 2"},
      {header + "3,-1,a,1,2\n", "line 2"},
      {header + "3,0,a,1,2,3\n", "line 2"},
      {header + "3,0,a,1,2\n3,0,a,1,2\n", "line 3"},
      {header + "x,0,a,1,2\n", "line 2"},
      {header + "3,0,a,1,two\n", "line 2"},
      {header + "3,0,a,1,2\n4,0,b,1,2\n", "line 3"},
      {"frame,point,x\n", "line 1"},
      {table + "5,0,left,1,1,1.5,tracked\n", "line 6"},
      {table + "5,0,left,1,1,1,seen\n", "line 6"}};
  for (const auto& [text, place] : faults) {
    const std::string name = file("fault.csv", text);
    expectNamed(refusal([&] { readTracks(name, 0); }), {name, place});
  }
}

// As a spreadsheet leaves them: sorted, with lines deleted, columns moved, other separators.
TEST(TrackTables, areReadInAnyOrder) {
  Tracks timed = sampleTracks();
  timed.times = {0.5, 0.75};
  const std::string wanted = formatTable(timed);
  const std::string sorted =
      "\xef\xbb\xbfstatus;time;confidence;y;x;name;frame;note\r\n"
      "occluded;0.5;0.25;4;-3;right;3;\r\nlost;0.75;0;;;right;4;x\r\n"
      "tracked;0.75;0.5;6;5;left;4\r\ntracked;0.5;1;2.25;1.5;left;3;\r\n";
  const Tracks read = readTracks(file("sorted.csv", sorted), 0);
  EXPECT_EQ(read.names, (std::vector<std::string>{"right", "left"}));
  EXPECT_EQ(read.shapes[0][0].status, Status::kOccluded);
  EXPECT_EQ(read.shapes[0][0].confidence, 0.25);
  EXPECT_EQ(read.shapes[1][1].x, 5.0);
  EXPECT_EQ(read.shapes[1][0].status, Status::kLost);
  EXPECT_EQ(read.times, timed.times);

  const std::size_t third = wanted.find("4,0,");
  const std::string backwards = wanted.substr(0, wanted.find('\n') + 1) + wanted.substr(third) +
                                wanted.substr(wanted.find('\n') + 1, third - wanted.find('\n') - 1);
  EXPECT_EQ(formatTable(readTracks(file("backwards.csv", backwards), 0)), wanted);

  const Tracks part = readTracks(file("part.csv", wanted.substr(0, wanted.find("4,1,"))), 0);
  ASSERT_EQ(part.shapes.size(), 2U);
  EXPECT_TRUE(std::isnan(part.shapes[1][1].x));
  EXPECT_EQ(part.shapes[1][1].status, Status::kLost);

  const std::string comma = file("comma.csv", "frame;name;x;y\n3;a;1,5;2\n");
  expectNamed(refusal([&] { readTracks(comma, 0); }), {comma, "line 2", "decimal point"});
  const std::string twice = file("twice.csv", "frame;name;x;y;X\n3;a;1;2;3\n");
  expectNamed(refusal([&] { readTracks(twice, 0); }), {twice, "line 1", "called x"});
}

TEST(TrackTables, areSummedUpInALine) {
  Tracks tracks = sampleTracks();
  EXPECT_EQ(summaryOf(tracks),
            "2 of 4 positions in 2 frames are tracked; 1 occluded in 1 frame, first in frame 3 "
            "(right); 1 lost in 1 frame, first in frame 4 (right)");
  tracks.shapes.pop_back();
  expectNamed(summaryOf(tracks), {"1 of 2", "none lost"});
  tracks.shapes[0].pop_back();
  expectNamed(summaryOf(tracks), {"1 of 1", "none is occluded or lost"});
  tracks.shapes[0][0].confidence = kUnknown;
  expectNamed(summaryOf(tracks), {"does not notice"});
}

std::string manyFrames(int count) {
  std::string rows;
  for (int frame = 0; frame < count; ++frame) rows += std::to_string(frame) + ",0,,1,2\n";
  return rows;
}

TEST(Annotations, areTablesWithAnySeparatorOrderAndGaps) {
  for (const std::string separator : {",", ";", "\t"}) {
    std::string text = "\xef\xbb\xbfname,y,frame,X,note\r\n\"nose\",2,7,1,a\r\n\r\neye,,3,,\r\n";
    std::replace(text.begin(), text.end(), ',', separator[0]);
    const Annotations read = readAnnotations(file("a.csv", text));
    EXPECT_EQ(read.names, (std::vector<std::string>{"nose", "eye"}));
    ASSERT_EQ(read.frames.size(), 2U);
    EXPECT_EQ(read.frames[0].number, 3);
    EXPECT_FALSE(isSeen(read.frames[0].points[0]));
    EXPECT_EQ(read.frames[1].points[0].x, 1.0);
    EXPECT_EQ(read.frames[1].points[0].y, 2.0);
    const std::string written = formatAnnotations(read);
    EXPECT_EQ(formatAnnotations(readAnnotations(file("b.csv", written))), written);
  }
  const Annotations files =
      readAnnotations(file("f.csv", "file,frame,point,x,y\n\"a,b\",0,1,5,6\nc,0,1,7,8\n"));
  EXPECT_EQ(files.names, (std::vector<std::string>{"0", "1"}));
  EXPECT_EQ(files.frames[0].file, "a,b");
  ASSERT_NE(findFrame(files, "c", 0), nullptr);
  EXPECT_EQ((*findFrame(files, "c", 0))[1].x, 7.0);
  EXPECT_EQ(readAnnotations(file("s.txt", "1 1 5 6"), 9).frames[0].number, 9);

  const std::string header = "frame,point,name,x,y\n";
  const std::pair<std::string, std::vector<std::string>> faults[] = {
      {"frame,x,y\n1,2,3\n", {"line 1", "columns"}},
      {header, {"no positions"}},
      {header + "1,0,a,1,2\n1,0,a,3,4\n", {"line 3", "line 2 already"}},
      {header + "1,0,a,1,2\n2,0,b,3,4\n", {"line 3", "a and b"}},
      {header + "1,0,a,1,2\n1,1,a,3,4\n", {"two points are called a"}},
      {header + "1,0,\"a\nb\",1,2\n", {"line 2", "name"}},
      {header + "1,0,\"a,1,2\n", {"line 2", "quote"}},
      {header + "1,0,a,1,2,3\n", {"line 2", "6 cells"}},
      {header + "one,0,a,1,2\n", {"line 2", "\"one\""}},
      {header + "1,0,a,1,2px\n", {"line 2", "\"2px\""}},
      {header + "1,99999999,a,1,2\n", {"line 2", "index"}},
      {header + "1,0,a,,2\n", {"line 2", "\"\", \"2\"", "both"}},
      {header + "1,0,a,inf,2\n", {"line 2", "\"inf\"", "both"}},
      {header + manyFrames(1001) + "0,9999,,1,2\n", {"1001 frames of 10000 points", "split"}},
      {"frame,name,x,y\n1,,1,2\n", {"line 2", "neither"}}};
  for (const auto& [text, parts] : faults) {
    const std::string name = file("fault.csv", text);
    const std::string message = refusal([&] { readAnnotations(name); });
    expectNamed(message, parts);
    expectNamed(message, {name});
  }
}

TEST(Smoothing, takesJitterAndLeavesMotion) {
  // A still point and one on a wave, both with noise, each lost in one frame.
  constexpr int kFrames = 200;
  constexpr double kNoise = 0.3;
  Random random;
  Tracks tracks;
  tracks.names = {"still", "wave"};
  const auto truth = [](int frame, int point) { return point * 20.0 * std::sin(0.2 * frame); };
  for (int i = 0; i < kFrames; ++i) {
    tracks.frame_numbers.push_back(i);
    tracks.shapes.emplace_back();
    for (int p = 0; p < 2; ++p) {
      const double noise = i == 100 ? 50.0 : random.real(-kNoise, kNoise);
      const Status status = i == 100 ? Status::kLost : Status::kTracked;
      tracks.shapes.back().push_back({truth(i, p) + noise, 5.0, i == 100 ? 0.0 : 1.0, status});
    }
  }
  smooth(tracks);
  double errors[2] = {0.0, 0.0};
  for (int i = 0; i < kFrames; ++i) {
    for (int p = 0; p < 2 && i != 100; ++p) {
      const TrackedPoint& point =
          tracks.shapes[static_cast<std::size_t>(i)][static_cast<std::size_t>(p)];
      errors[p] += std::pow(point.x - truth(i, p), 2.0) / kFrames;
      EXPECT_NEAR(point.y, 5.0, 1e-6);
    }
  }
  const double before = kNoise * kNoise / 3.0;
  EXPECT_LT(errors[0], 0.15 * before);
  EXPECT_LT(errors[1], 0.8 * before);
  EXPECT_EQ(tracks.shapes[100][0].x, 50.0);
}

TEST(ShapeFiles, areRefusedWithLineAndPlace) {
  EXPECT_EQ(readShapes(file("s.txt", "2\r\n1\r\n5 6\r\n1 nan 8\n")).size(), 2U);
  const std::pair<const char*, std::vector<std::string>> faults[] = {
      {"", {"line 1", "number of shapes"}},
      {"0\n", {"no positions"}},
      {"2\n0\n0\n", {"no positions"}},
      {"2\n71.7 5\n", {"line 2", "71.7", "first line of a shape sequence file must be"}},
      {"1\n2\n1 2\n\n3\n", {"line 5", "file ends", "shape 0, point 1"}},
      {"2\n1\n1 2\n2\n1 2\n1 2\n", {"line 4", "shape 1 has 2 points"}},
      {"1\n1\n1 2\n3\n", {"goes on behind shape 0"}},
      {"1\n1\n1 0x2\n", {"line 3", "0x2"}},
      {"\xef\xbb\xbf 1", {"byte order mark"}}};
  for (const auto& [text, parts] : faults) {
    const std::string name = file("fault.txt", text);
    const std::string message = refusal([&] { readShapes(name); });
    expectNamed(message, parts);
    expectNamed(message, {name});
  }
}

Truth truthOf(const Tracks& tracks, int first_frame) {
  Truth truth;
  truth.annotations.names = tracks.names;
  for (const TrackedShape& tracked : tracks.shapes) {
    truth.annotations.frames.push_back({first_frame++, "", {}});
    for (const TrackedPoint& point : tracked) {
      truth.annotations.frames.back().points.push_back({point.x, point.y});
    }
  }
  return truth;
}

TEST(Errors, aPositionThatIsNoNumberIsLost) {
  Tracks tracks = sampleTracks();
  tracks.shapes[1][1] = {7, 8, 0.5, Status::kTracked};
  const Truth truth = truthOf(tracks, 3);
  tracks.shapes[1][0].x = kUnknown;
  const FrameChoice all;
  const Evaluation one = evaluate(tracks, truth, 5.0, all);
  EXPECT_EQ(one.points[0].lost, 0.5);
  EXPECT_EQ(one.points[0].worst, std::numeric_limits<double>::infinity());
  EXPECT_EQ(one.points[1].worst, 0.0);
  tracks.shapes[0][0].x = kUnknown;
  const Evaluation both = evaluate(tracks, truth, 5.0, all);
  EXPECT_EQ(both.points[0].median, std::numeric_limits<double>::infinity());
  const auto two = nlohmann::json::parse(formatJson(both));
  for (const char* key : {"mean", "median", "p90", "p95", "p99", "worst"}) {
    EXPECT_EQ(two["points"][0][key], "inf") << key;
  }
  EXPECT_EQ(two["all"]["lost"], 0.5);
  EXPECT_EQ(two["lost_above"], 5.0);
  expectNamed(refusal([&] { evaluate(tracks, truthOf(tracks, 5), 5.0, all); }),
              {"frames 3 to 4", "5 to 6"});
  expectNamed(refusal([&] { evaluate(tracks, truth, 5.0, {{5, 9}}); }), {"no frames"});
}

TEST(Errors, areThoseOfWhatTheTruthHolds) {
  Tracks tracks = sampleTracks();
  tracks.shapes[1][1] = {7, 8, 0.5, Status::kTracked};
  const std::string table =
      file("truth.csv", "frame;name;x;y\n4;left;5;9\n3;right;nan;\n9;left;0;0\n");
  const Evaluation evaluation = evaluate(tracks, {readOneRecording(table), {}}, 5.0, {});
  EXPECT_EQ(evaluation.all.count, 1U);
  EXPECT_EQ(evaluation.all.mean, 3.0);
  EXPECT_EQ(evaluation.names, (std::vector<std::string>{"left"}));
  const std::string other = file("other.csv", "frame,name,x,y\n3,nose,1,1\n");
  expectNamed(refusal([&] { evaluate(tracks, {readOneRecording(other), {}}, 5.0, {}); }), {"nose"});
}

TEST(Errors, confidenceIsJudgedByWhatCameOfIt) {
  // One frame: error, confidence and status of each point; the last one is hidden.
  const std::tuple<double, double, Status> points[] = {
      {0, 0.9, Status::kTracked},  {0.5, 0.7, Status::kTracked}, {9, 0.8, Status::kTracked},
      {9, 0.2, Status::kOccluded}, {1, 0.2, Status::kOccluded},  {0, 0.0, Status::kLost}};
  Tracks tracks{indexNames(6), {7}, {{}}};
  Truth truth{{indexNames(6), {{7, "", {}}}}, {{7, 5}}};
  Shape& known = truth.annotations.frames[0].points;
  for (const auto& [error, confidence, status] : points) {
    const double x = 50.0 * static_cast<double>(known.size());
    known.push_back({x, 0});
    tracks.shapes[0].push_back({x, error, confidence, status});
  }
  const Evaluation evaluation = evaluate(tracks, truth, 5.0, {});
  ASSERT_TRUE(evaluation.separation);
  const Separation& separation = *evaluation.separation;
  EXPECT_EQ(separation.good, 3U);
  EXPECT_EQ(separation.not_good, 3U);
  // Of nine pairs, confidence orders six rightly, two wrongly, and one is a tie.
  EXPECT_DOUBLE_EQ(separation.roc_area, 6.5 / 9.0);
  EXPECT_DOUBLE_EQ(separation.marked_not_good, 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(separation.marked_good, 1.0 / 3.0);
  EXPECT_EQ(separation.tracked->count, 3U);
  EXPECT_DOUBLE_EQ(separation.tracked->mean, 9.5 / 3.0);
  EXPECT_EQ(separation.reliability[2].count, 2U);
  EXPECT_DOUBLE_EQ(separation.reliability[2].close, 0.5);
  EXPECT_EQ(separation.reliability[9].count, 1U);

  EXPECT_EQ(readHidden(file("hidden.txt", "\n2 5\n"), 6),
            (std::set<std::pair<int, std::size_t>>{{7, 2}, {7, 5}}));
  const std::string typo = file("hidden.txt", "\n2 x\n");
  expectNamed(refusal([&] { readHidden(typo, 0); }), {typo, "line 2"});
  tracks.shapes[0][0].confidence = kUnknown;
  EXPECT_FALSE(evaluate(tracks, truth, 5.0, {}).separation);
}

TEST(Models, areReadBackAndRefusedWhenTheyMakeNoSense) {
  ModelDescription model;
  model.stages = {{20.0F, 2, "c"}, {7.5F, 1, ""}};
  model.point_names = {"a", "b"};
  model.scale = 0.5F;
  model.predictors = model.generations = model.training_frames = 1;
  model.frames = FrameKind{{400, 640}, {300, 480}, {255, 65535}};
  model.review = {{0.25, 1.5}, {1}, {{"f\xff.png", 1, 8.5, {3.0, 4.0}}}, {"few"}};
  const std::string folder = pathTo("model-folder");
  makeFolder(folder);
  const std::string text = formatDescription(model).json;
  writeFile(modelFile(folder), text);
  EXPECT_EQ(formatDescription(readDescription(folder)).json, text);
  expectNamed(describe(folder), {"400-640 x 300-480 px", "255-65535", "1.50 px (b)",
                                 "point 1 (b) is annotated 8.5 px", "warning: few"});

  const std::pair<std::string, std::string> spoilt[] = {
      {"\"remora model\"", "\"other\""},
      {"\"version\": 3", "\"version\": 99"},
      {"\"hard\": [\n      1", "\"hard\": [\n      2"},
      {"\"width\": [\n      400.0", "\"width\": [\n      800.0"},
      {"\"distance\": 8.5", "\"distance\": \"far\""},
      {"\"scale\": 0.5", "\"scale\": 0"},
      {"\"scale\": 0.5", "\"scale\": \"big\""},
      {"\"steps\": 2", "\"steps\": 0"},
      {"\"radius\": 7.5", "\"radius\": -1"},
      {"\"steps\": 2", "\"steps\": 2147483647"},
      {"\"steps\": 2", "\"stops\": 1, \"steps\": 2"},
      {"\"blur\": 1", "\"blur\": 7"},
      {"\"seed\"", "\"a\\nb\": 0, \"seed\""},
      {"\"predictors\": 1", "\"predictors\": -1"},
      {"\"a\",\n    \"b\"", ""},
      {"\"points\"", "\"pints\""},
      {"{", ""}};
  for (const auto& [good, bad] : spoilt) {
    std::string changed = text;
    changed.replace(changed.find(good), good.size(), bad);
    writeFile(modelFile(folder), changed);
    const std::string message = refusal([&] { readDescription(folder); });
    expectNamed(message, {modelFile(folder), "not valid"});
    EXPECT_EQ(countOf("\n", message), 0) << message;
  }
}

// One point whose single predictor answers (image - template) * 255 in x: it walks down a ramp.
constexpr char kRampWalker[] = "1\n1\n1\n40 30\n0 0\n0.0 \n255.0 \n-20.0\n1\n0\n40 30\n\n\n0.0\n";

std::vector<unsigned char> greyOf(const std::string& name) {
  return toGrey(loadPicture(pathTo(name)).view()).pixels;
}

TEST(Frames, areGreyFromBlackToWhiteWhateverTheirDepth) {
  CImg<float> colours(2, 1, 1, 4, 0.0F);
  for (int x = 0; x < 2; ++x) {
    for (int c = 0; c < 3; ++c) colours(x, 0, 0, c) = static_cast<float>(x == 0 ? 90 * c + 1 : 77);
  }
  colours.save_png(pathTo("colours.png").c_str());
  EXPECT_EQ(greyOf("colours.png"), (std::vector<unsigned char>{74, 77}));

  const CImg<float> wanted(3, 1, 1, 1, {255, 0, 85});
  const CImg<float> deep = 257.0F * wanted;
  deep.save_png(pathTo("deep.png").c_str(), 2);
  deep.save_pnm(pathTo("deep.pgm").c_str(), 2);
  file("shallow.pgm", "P2 3 1 3 3 0 1");
  wanted.get_append(wanted, 'c').save_png(pathTo("clear.png").c_str());
  wanted.save_pfm(pathTo("real.pfm").c_str());
  for (const char* name : {"deep.png", "deep.pgm", "shallow.pgm", "clear.png", "real.pfm"}) {
    EXPECT_EQ(greyOf(name), (std::vector<unsigned char>{255, 0, 85})) << name;
  }
  const std::string black = file("black.pgm", "P2 3 1 0 0 0 0");
  expectNamed(refusal([&] { loadPicture(black); }), {black, "above 0"});
}

TEST(Canvases, showEveryPlaceOfTheFrameWhereTheySay) {
  constexpr int kWidth = 203, kHeight = 113;  // no scale makes whole pixels of either
  GreyImage ramps{kWidth, kHeight, {}}, down = ramps;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    ramps.pixels.push_back(static_cast<unsigned char>(i % kWidth));
    down.pixels.push_back(static_cast<unsigned char>(i / kWidth));
  }
  for (const float scale : {0.7F, 0.9F, 0.33F, 1.0F, 1.37F}) {
    const ScaledFrame canvas(kWidth, kHeight, scale);
    const CImg<float> across = canvas.prepare(ramps);
    const CImg<float> upright = canvas.prepare(down);
    EXPECT_EQ(across.width(), std::lround(kWidth * static_cast<double>(scale)));
    const int margin = 5;  // where the edge of the frame bends the ramp
    cimg_for_insideXY(across, x, y, margin) {
      const Point place = canvas.toFrame(Point{1.0 * x, 1.0 * y});
      ASSERT_NEAR(across(x, y), place.x - 0.5, 0.51) << scale << ", column " << x;
      ASSERT_NEAR(upright(x, y), place.y - 0.5, 0.51) << scale << ", row " << y;
    }
  }
  const ScaledFrame canvas(kWidth, kHeight, 0.33F);
  const Point back = canvas.toFrame(canvas.fromFrame(Point{100.25, 60.5}));
  EXPECT_NEAR(back.x, 100.25, 1e-9);
  EXPECT_NEAR(back.y, 60.5, 1e-9);
}

TEST(Models, thatArePlainGoOnFromWhereThePointsArePlaced) {
  const std::string folder = pathTo("cascade");
  makeFolder(folder);
  const auto describedAs = [&folder](const std::vector<std::string>& names) {
    ModelDescription described;
    described.stages = {{10.0F, 1, ""}};
    described.point_names = names;
    writeFile(modelFile(folder), formatDescription(described).json);
  };
  writeFile(flatFile(folder, 0), kRampWalker);
  describedAs({"p"});
  GreyImage ramp{100, 50, {}};
  for (int i = 0; i < 5000; ++i) ramp.pixels.push_back(static_cast<unsigned char>(i % 100));
  Tracker tracker{Model(folder)};
  tracker.start({{32.9, 25.2}});
  const TrackedPoint walked = tracker.next(ramp.view())[0];
  EXPECT_NEAR(walked.x, 20.5, 1e-6);  // from the middle of its pixel to where the ramp has 20
  EXPECT_EQ(walked.y, 25.5);
  EXPECT_NEAR(Tracker{Model(folder)}.next(ramp.view())[0].x, 20.5, 1e-6);  // from (40, 30)
  EXPECT_NE(refusal([&] { Model(folder, {1, 1}); }), "");

  describedAs({"p", "q"});
  expectNamed(refusal([&] { const Model model(folder); }), {flatFile(folder, 0), "points"});
  describedAs({"p"});
  writeFile(flatFile(folder, 0), "garbage");
  expectNamed(refusal([&] { const Model model(folder); }), {flatFile(folder, 0)});
}

TEST(Inspection, tellsFilesApartAndRefusesWhatIsCutShort) {
  const auto isNothing = [](const std::string& text) {
    const std::string name = file("k", text);
    return refusal([&] { describe(name); }).find("is none of") != std::string::npos;
  };
  EXPECT_EQ(describe(file("k", kRampWalker)).rfind("flat LP file of 1 points", 0), 0U);
  const std::string bunches = std::string("1\n") + kBunch;
  const std::string described = describe(file("k", bunches));
  EXPECT_EQ(described.rfind("bunch file of 1 points", 0), 0U);
  expectNamed(described, {"    0           2               2  (50.00, 40.00)"});
  for (const std::string& text : {std::string(kRampWalker), bunches}) {
    EXPECT_TRUE(isNothing(text + " 1.5")) << text;
    const std::size_t last_number = text.find_last_of(" \n", text.size() - 2);
    EXPECT_TRUE(isNothing(text.substr(0, last_number))) << text;
  }
  EXPECT_TRUE(isNothing(" \n"));
  for (const char* shape : {"+1 5 6", "1 1e-400 nan", "1 +5 -inf"}) {  // as the library reads them
    EXPECT_FALSE(isNothing(shape)) << shape;
  }
  for (const char* none : {"1 ++5 6", "1 1e999 6", "1 0x5 6"}) EXPECT_TRUE(isNothing(none)) << none;
}

TEST(Overlays, markEveryPointByItsStatusOnAnEnlargedFrame) {
  Tracks tracks = sampleTracks();
  tracks.shapes = {{{60, 50, 1, Status::kTracked}, {100, 60, 1, Status::kTracked}},
                   {{70, 50, 1, Status::kTracked}, {kUnknown, 60, 0, Status::kLost}}};
  const Picture frame{160, 120, 1, std::vector<unsigned char>(160 * 120, 90)};
  const auto draw = [&](Status status) {
    tracks.shapes[1][0].status = status;
    return drawOverlay(frame, tracks, 1);
  };
  const Picture picture = draw(Status::kTracked);
  ASSERT_EQ(picture.width, 640);
  ASSERT_EQ(picture.channels, 3);
  const auto isGrey = [&](int x, int y) {
    const unsigned char* const pixel = &picture.pixels[static_cast<std::size_t>(y * 640 + x) * 3];
    return pixel[0] == pixel[1] && pixel[1] == pixel[2];
  };
  EXPECT_FALSE(isGrey(70 * 4 + 2, 50 * 4 + 2));  // the cross
  EXPECT_FALSE(isGrey(65 * 4 + 2, 50 * 4 + 2));  // the trail
  EXPECT_TRUE(isGrey(100 * 4 + 2, 60 * 4 + 2));  // where a point was lost
  EXPECT_NE(draw(Status::kOccluded).pixels, picture.pixels);
  EXPECT_NE(draw(Status::kLost).pixels, draw(Status::kOccluded).pixels);
}

}  // namespace
