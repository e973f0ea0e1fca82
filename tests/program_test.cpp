// The program remora, run as a user runs it.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

// What is said, without the lines of progress that a slow machine gets to see.
std::string withoutProgress(const std::string& text) {
  std::string kept;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const bool is_progress = line.rfind("training: ", 0) == 0 || line.rfind("tracking: ", 0) == 0 ||
                             line.rfind("drawing: ", 0) == 0 || line.rfind("embedding: ", 0) == 0 ||
                             line.rfind("looking: ", 0) == 0;
    if (!is_progress) kept += line + '\n';
  }
  return kept;
}

Outcome remora(const std::string& arguments, const std::string& prefix = "") {
  const std::string out = pathTo("out.txt");
  const std::string err = pathTo("err.txt");
  const int code = std::system(
      (prefix + " '" REMORA_PROGRAM "' " + arguments + " >" + out + " 2>" + err).c_str());
  const int status = WIFEXITED(code) ? WEXITSTATUS(code) : -1;
  return {status, contentsOf(out), withoutProgress(contentsOf(err))};
}

// All files below a folder.
std::map<std::string, std::string> folderContents(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file())
      files[entry.path().lexically_relative(folder)] = contentsOf(entry.path());
  }
  return files;
}

constexpr int kFrames = 8;
constexpr int kWidth = 140;
constexpr int kHeight = 110;

// The whole picture moves to and fro.
int shiftX(int frame) { return frame % 4 * 2; }
int shiftY(int frame) { return frame % 3; }

// Frames 0 ... 7 of a moving texture with two points, once for all tests: BASE and truth.txt.
const std::string& footage() {
  static const std::string folder = [] {
    const std::string made = pathTo("footage");
    fs::create_directory(made);
    std::ofstream truth(made + "/truth.txt");
    truth << kFrames << "\n";
    for (int i = 0; i < kFrames; ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "/f.%05d.png", i);
      CImg<unsigned char>(texture(kWidth, kHeight, shiftX(i), shiftY(i)))
          .save_png((made + name).c_str());
      truth << "2\n"
            << 60 + shiftX(i) << ' ' << 50 + shiftY(i) << '\n'
            << 80.5 + shiftX(i) << ' ' << 60.25 + shiftY(i) << '\n';
    }
    return made;
  }();
  return folder;
}

std::string sequence() { return footage() + "/f:0"; }
std::string truth() { return footage() + "/truth.txt"; }

// A quick training.
std::string trainingOf(const std::string& model, const std::string& more = "") {
  return "train --sequence " + sequence() + ":" + truth() + " --predictors 12 --generations 2 -o " +
         model + " " + (more.find("--stages") == std::string::npos ? "--stages 12,6 " : "") + more;
}

// A finished model, trained once for all tests.
const std::string& model() {
  static const std::string folder = [] {
    const std::string made = pathTo("model");
    EXPECT_EQ(remora(trainingOf(made)).status, 0);
    return made;
  }();
  return folder;
}

void expectNamed(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in: " << text;
  }
}

void expectRefusal(const std::string& arguments, const std::vector<std::string>& named) {
  const Outcome outcome = remora(arguments);
  EXPECT_EQ(outcome.status, kFailed) << arguments;
  EXPECT_EQ(outcome.out, "");
  EXPECT_TRUE(isOneLine(outcome.err, "remora: ")) << outcome.err;
  expectNamed(outcome.err, named);
}

TEST(Program, helpsAndRefusesWhatItDoesNotKnow) {
  for (const std::string verb :
       {"", "frames", "train", "join", "track", "annotate", "suggest", "render", "evaluate",
        "export", "import", "convert", "info", "demo"}) {
    const Outcome help = remora(verb + " --help");
    EXPECT_EQ(help.status, 0) << verb;
    EXPECT_NE(help.out.find("Usage: remora " + verb), std::string::npos) << help.out;
    EXPECT_EQ(help.out.find("TEXT"), std::string::npos) << help.out;
    EXPECT_EQ(remora("help " + verb).out, help.out);
  }
  for (const char* wrong : {"",
                            "swim",
                            "train",
                            "track m",
                            "evaluate x",
                            "train --frobnicate",
                            "train -o m --sequence a:0:b --predictors none",
                            "train -o m --sequence a:b",
                            "train -o m --sequence a:0:b --unit first",
                            "train -o m --sequence a:0:b --jobs 0",
                            "train -o m --sequence a:0:b --stages inf",
                            "train -o m --sequence a:0:b --scale nan",
                            "train -o m --sequence a:0:b --stages 6,12",
                            "train -o m --sequence a:0:b --frames 3-",
                            "track m --sequence a:0 --steps 2147483647",
                            "track m -",
                            "track m - --size 0x4",
                            "frames v.mp4 -o x",
                            "render t.csv v.mp4 -o x.avi",
                            "frames v.mp4 -o x --every 2 --count 3",
                            "frames v.mp4 -o x --at 1,b",
                            "import a.json",
                            "import a -o b --format x",
                            "annotate -o a.html",
                            "annotate a.png",
                            "annotate a.png --at x -o a.html",
                            "annotate a.png --names a,a -o a.html",
                            "annotate a.png --every 2 --count 3 -o a.html",
                            "suggest t.csv",
                            "suggest t.csv a.png -n 0",
                            "convert a.csv -o a.unknown",
                            "convert a.csv -o b --to pts",
                            "help swim"}) {
    const Outcome outcome = remora(wrong);
    EXPECT_EQ(outcome.status, kUsage) << wrong;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("remora: ", 0), 0U);
  }
  const std::pair<const char*, std::vector<std::string>> reasons[] = {
      {"trian",
       {"trian",
        "train, join, track, annotate, suggest, render, evaluate, export, import, convert, info, "
        "demo"}},
      {"train --outptu m", {"--outptu"}},
      {"track m f.png --sequence f:0", {"--sequence and files", "exclude"}}};
  for (const auto& [wrong, parts] : reasons) expectNamed(remora(wrong).err, parts);
}

TEST(Program, trainsTracksAndEvaluates) {
  const std::string shapes = pathTo("shapes.txt");
  const std::string pictures = pathTo("pictures");
  const std::string trained = pathTo("default-model");
  ASSERT_EQ(remora("train --sequence " + sequence() + ':' + truth() + " -o " + trained).status, 0);
  const Outcome tracks = remora("track " + trained + " --sequence " + sequence() + " --init " +
                                truth() + ":0 --shapes " + shapes + " --overlay " + pictures);
  ASSERT_EQ(tracks.status, 0) << tracks.err;
  EXPECT_EQ(tracks.out.rfind("frame,point,name,x,y,confidence,status\n"
                             "0,0,0,60.0000,50.0000,1.000,tracked\n",
                             0),
            0U)
      << tracks.out;
  EXPECT_TRUE(isOneLine(tracks.err, "remora: 16 of 16")) << tracks.err;
  EXPECT_EQ(countOf("\n", tracks.out), 1 + 2 * kFrames);
  EXPECT_EQ(CImg<unsigned char>((pictures + "/00003.png").c_str()).width(), 5 * kWidth);

  const std::string table = file("tracks.csv", tracks.out);
  std::string previous;
  for (const std::string& positions : {table, shapes}) {
    const Outcome outcome = remora("evaluate --json " + positions + " --truth " + truth());
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto result = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(result["all"]["count"], 2 * kFrames);
    EXPECT_LT(result["all"]["mean"], 0.6);
    EXPECT_EQ(result["all"]["lost"], 0.0);
    EXPECT_EQ(result["points"].size(), 2U);
  }
  const Outcome found = remora("track " + trained + " --sequence " + sequence());
  EXPECT_EQ(found.status, 0) << found.err;
  const Outcome judged =
      remora("evaluate --json " + file("found.csv", found.out) + " --truth " + truth());
  EXPECT_LT(nlohmann::json::parse(judged.out)["all"]["p90"], 1.0);
  const Outcome images = remora("track " + trained + " " + footage() + "/f.00002.png " + footage() +
                                "/f.00003.png --init " + truth() + ":2 -o " + table);
  EXPECT_EQ(images.status, 0) << images.err;
  EXPECT_EQ(images.out, "");
  EXPECT_EQ(countOf("\n", contentsOf(table)), 5);
}

// The mean error of tracking a sequence whose truth is known in every frame.
double meanError(const std::string& model, const std::string& sequence, const std::string& known) {
  const std::string table = pathTo("mean.csv");
  const Outcome tracked =
      remora("track " + model + " --sequence " + sequence + " --init " + known + " --csv " + table);
  EXPECT_EQ(tracked.status, 0) << tracked.err;
  const Outcome outcome = remora("evaluate --json " + table + " --truth " + known);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return nlohmann::json::parse(outcome.out)["all"]["mean"];
}

TEST(Program, scaledFramesArePlacedWhereTheyReallyAre) {
  const auto makeFootage = [](const std::string& base, int shift) {
    std::string known = "4\n";
    for (int i = 0; i < 4; ++i) {
      CImg<unsigned char>(texture(301, 113, shift + i, i % 2))
          .save_png((base + ".0000" + std::to_string(i) + ".png").c_str());
      known += "1 " + std::to_string(60 + shift + i) + ' ' + std::to_string(55 + i % 2) + '\n';
    }
    std::ofstream(base + ".txt") << known;
  };
  const std::string left = pathTo("left");
  const std::string right = pathTo("right");
  makeFootage(left, 0);
  makeFootage(right, 180);
  for (const std::string scale : {"0.7", "0.9"}) {
    const std::string folder = pathTo("scaled" + scale);
    ASSERT_EQ(remora("train --plain --stages 12,6 --predictors 30 --scale " + scale +
                     " --sequence " + left + ":0:" + left + ".txt -o " + folder)
                  .status,
              0);
    EXPECT_LT(meanError(folder, right + ":0", right + ".txt"), 0.8) << scale;
  }
}

TEST(Program, coloursAndDepthsAreTrackedAsTheirGrey) {
  const std::string folder = pathTo("coloured");
  fs::create_directory(folder);
  for (int i = 0; i < kFrames; ++i) {
    const std::string number = ".0000" + std::to_string(i) + ".png";
    const CImg<float> picture((footage() + "/f" + number).c_str());
    CImg<float> colours(picture.width(), picture.height(), 1, 3, 0.0F);
    CImg<float> grey(picture.width(), picture.height());
    cimg_forXY(grey, x, y) {  // red is dark where the picture is bright
      colours(x, y, 0, 0) = 255.0F - picture(x, y);
      colours(x, y, 0, 1) = picture(x, y);
      grey(x, y) = std::round(0.299F * colours(x, y, 0, 0) + 0.587F * picture(x, y));
    }
    colours.save_png((folder + "/rgb" + number).c_str());
    grey.save_png((folder + "/grey" + number).c_str());
    (257.0F * grey).save_png((folder + "/deep" + number).c_str(), 2);
  }
  const std::string trained = pathTo("grey-model");
  ASSERT_EQ(remora("train --plain --stages 12,6 --predictors 12 --sequence " + folder +
                   "/grey:0:" + truth() + " -o " + trained)
                .status,
            0);
  EXPECT_LT(meanError(trained, folder + "/rgb:0", truth()), 0.6);
  const auto table = [&](const std::string& base) {
    return remora("track " + trained + " --sequence " + folder + base + ":0").out;
  };
  EXPECT_EQ(table("/deep"), table("/grey"));
  // The model knows what it was trained on.
  EXPECT_EQ(
      countOf("warning", remora("track " + trained + " --sequence " + folder + "/grey:0").err), 0);
  const Outcome deep = remora("track " + trained + " --sequence " + folder + "/deep:0");
  expectNamed(deep.err, {"warning: frame " + folder +
                         "/deep.00000.png: it is 140 x 110 px, 0 is "
                         "black and 65535 white; the training frames were 140 x 110 px, 0 is black "
                         "and 255 white"});
  EXPECT_EQ(countOf("warning", deep.err), 1);
  expectNamed(remora("info " + trained).out, {"training frames: 140 x 110 px"});
}

TEST(Program, modelsDependOnSeedAndInputsAlone) {
  const auto wanted = folderContents(model());
  EXPECT_EQ(wanted.size(), 9U);  // two stages of three files, model.json and two pictures

  const std::string again = pathTo("again");
  ASSERT_EQ(remora(trainingOf(again)).status, 0);
  EXPECT_EQ(folderContents(again), wanted);

  for (const std::string seed : {"0", "2", "4294967295"}) {
    const std::string other = pathTo("seed-" + seed);
    ASSERT_EQ(remora(trainingOf(other, "--seed " + seed)).status, 0);
    EXPECT_NE(folderContents(other).at("stage0.flp"), wanted.at("stage0.flp"));
  }
  EXPECT_EQ(remora(trainingOf(again, "--seed 4294967296")).status, kUsage);
}

TEST(Program, aSmallerModelLeavesNothingOfALargerOne) {
  const std::string folder = pathTo("smaller");
  fs::copy(model(), folder);
  ASSERT_EQ(remora(trainingOf(folder, "--force --stages 6")).status, 0);
  EXPECT_EQ(folderContents(folder).size(), 6U);
  ASSERT_EQ(remora(trainingOf(folder, "--plain --force --stages 6")).status, 0);
  EXPECT_EQ(folderContents(folder).size(), 4U);
}

TEST(Program, aFinishedModelIsReplacedWhenAskedAlone) {
  const std::string folder = pathTo("finished");
  fs::copy(model(), folder);
  const auto before = folderContents(folder);
  const Outcome again = remora(trainingOf(folder));
  EXPECT_EQ(again.status, 0);
  EXPECT_TRUE(isOneLine(again.err, "remora: " + folder)) << again.err;
  for (const std::string change : {"--seed 9", "--stages 6", "--frames 0-6"}) {
    expectRefusal(trainingOf(folder, change), {folder, "--force"});
  }
  EXPECT_EQ(folderContents(folder), before);

  // One that is damaged is trained again.
  std::ofstream(folder + "/stage1.flp") << "2\n";
  fs::remove(folder + "/stage0.y.lpb");
  ASSERT_EQ(remora(trainingOf(folder)).status, 0);
  EXPECT_EQ(folderContents(folder), before);
  std::ofstream(folder + "/model.json") << "{";
  expectRefusal(trainingOf(folder), {folder, "--force"});
  ASSERT_EQ(remora(trainingOf(folder, "--force")).status, 0);
  EXPECT_EQ(folderContents(folder), before);
}

// Trains into a folder up to the second stage, where something is in the way. Returns the folder of
// finished units.
std::string breakOff(const std::string& folder, const std::string& more = "") {
  const std::string units = folder + "/units", obstacle = units + "/stage1.x.point0.lpb";
  fs::create_directories(obstacle);
  EXPECT_EQ(remora(trainingOf(folder, more + " --jobs 1")).status, kFailed);
  fs::remove(obstacle);
  EXPECT_EQ(folderContents(units).size(), 1U + 4U) << "a plan and the units of a stage";
  return units;
}

TEST(Program, goesOnWhereATrainingBrokeOff) {
  const std::string broken = pathTo("broken-off");
  breakOff(broken);
  ASSERT_EQ(remora(trainingOf(broken)).status, 0);
  EXPECT_EQ(folderContents(broken), folderContents(model()));

  // A unit that lies under the name of another one is not taken for it.
  const std::string exchanged = pathTo("exchanged"), units = breakOff(exchanged);
  fs::copy(units + "/stage0.x.point1.lpb", units + "/stage0.x.point0.lpb",
           fs::copy_options::overwrite_existing);
  ASSERT_EQ(remora(trainingOf(exchanged)).status, 0);
  EXPECT_EQ(folderContents(exchanged), folderContents(model()));

  // What another version, or another training, left behind is not.
  const std::string upgraded = pathTo("upgraded"), old_units = breakOff(upgraded);
  fs::copy(old_units + "/stage0.x.point1.lpb", old_units + "/stage0.x.point0.lpb",
           fs::copy_options::overwrite_existing);
  const std::string version = remora("--version").out;
  std::string plan = contentsOf(old_units + "/plan");
  ASSERT_NE(plan.find(version), std::string::npos) << plan;
  std::ofstream(old_units + "/plan") << plan.replace(plan.find(version), version.size(), "0.0.0\n");
  ASSERT_EQ(remora(trainingOf(upgraded)).status, 0);
  EXPECT_EQ(folderContents(upgraded), folderContents(model()));

  const std::string mixed = pathTo("mixed");
  breakOff(mixed, "--seed 5");
  ASSERT_EQ(remora(trainingOf(mixed)).status, 0);
  EXPECT_EQ(folderContents(mixed), folderContents(model()));
}

TEST(Program, anyNumberOfJobsTrainsTheSameModel) {
  for (const std::string jobs : {"1", "3"}) {
    const std::string folder = pathTo("jobs" + jobs);
    EXPECT_EQ(remora(trainingOf(folder, "--jobs " + jobs)).status, 0);
    EXPECT_EQ(folderContents(folder), folderContents(model())) << jobs;
  }
  const std::string obstructed = pathTo("obstructed");
  fs::create_directories(obstructed + "/units/stage1.x.point0.lpb");
  expectRefusal(trainingOf(obstructed, "--jobs 2"), {"unit stage1.x.point0 (0) failed twice",
                                                     obstructed + "/units/stage1.x.point0.lpb"});
  fs::remove(obstructed + "/units/stage1.x.point0.lpb");
  EXPECT_EQ(remora(trainingOf(obstructed)).status, 0);
  EXPECT_EQ(folderContents(obstructed), folderContents(model()));
}

TEST(Program, memoryThatIsGrantedIsKeptTo) {
  const std::string folder = pathTo("granted");
  expectRefusal(trainingOf(folder, "--max-memory 1M"), {"one process alone needs up to", "1 MB"});
  EXPECT_FALSE(fs::exists(folder + "/model.json"));
  EXPECT_EQ(remora(trainingOf(folder, "--max-memory 1G")).status, 0);
  EXPECT_EQ(folderContents(folder), folderContents(model()));
}

std::string joiningOf(const std::string& folder, const std::string& more = "") {
  return "join" + trainingOf(folder, more).substr(std::string("train").size());
}

TEST(Program, unitsThatWereTrainedAnywhereAreJoined) {
  const std::string one = pathTo("one-place"), other = pathTo("other-place");
  EXPECT_EQ(remora(trainingOf(one, "--unit 0-2 7")).status, 0);
  EXPECT_EQ(folderContents(one + "/units").size(), 1U + 4U);
  expectRefusal(joiningOf(one), {"4 of 8 units are missing", one + "/units", ": 3-6"});
  fs::rename(one, other);
  EXPECT_EQ(remora(trainingOf(other, "--unit 1,3-6 --jobs 1")).status, 0);
  fs::resize_file(other + "/units/stage0.y.point1.lpb", 1000);
  expectRefusal(joiningOf(other), {"1 of 8 units", "not whole: 3"});
  EXPECT_EQ(remora(trainingOf(other, "--unit 3")).status, 0);
  EXPECT_EQ(remora(joiningOf(other)).status, 0);
  EXPECT_EQ(folderContents(other), folderContents(model()));
  for (const std::string& late : {trainingOf(other, "--unit 3"), joiningOf(other)}) {
    expectNamed(remora(late).err, {other, "holds the finished model of this training already"});
  }
  EXPECT_EQ(folderContents(other), folderContents(model()));
}

TEST(Program, whoHelpsOutWaitsForNobody) {
  const std::string folder = pathTo("helped");
  EXPECT_EQ(remora(trainingOf(folder, "--unit 6")).status, 0);
  std::ofstream(folder + "/units/stage1.y.point1.begun");  // by somebody who died
  std::ofstream(folder + "/units/stage0.x.point0.begun");
  EXPECT_EQ(remora(trainingOf(folder, "--unit 6,7 --help-out --jobs 2")).status, 0);
  EXPECT_EQ(remora(joiningOf(folder)).status, 0);
  EXPECT_EQ(folderContents(folder), folderContents(model()));
  EXPECT_EQ(remora(trainingOf(folder, "--help-out")).status, kUsage);
}

TEST(Program, unitsThatDoNotBelongAreRefusedAndKept) {
  const std::string folder = pathTo("shared"), foreign = pathTo("foreign");
  expectRefusal(joiningOf(folder), {folder, "holds no units to join"});
  expectRefusal(trainingOf(folder, "--unit 8"), {"no unit 8", "0 to 7"});
  EXPECT_FALSE(fs::exists(folder));
  ASSERT_EQ(remora(trainingOf(folder, "--unit 0-7")).status, 0);
  ASSERT_EQ(remora(trainingOf(foreign, "--seed 5 --unit 2")).status, 0);
  const auto before = folderContents(folder);
  const std::string units = folder + "/units holds units of another training: other ";
  for (const std::string how : {"--unit 0", "--force", "--jobs 1"}) {
    expectRefusal(trainingOf(folder, "--seed 5 " + how),
                  {units + "options (", " there, ", " here)"});
  }
  expectRefusal(joiningOf(folder, "--frames 1-5"), {units + "frames (", "other positions ("});
  EXPECT_EQ(folderContents(folder), before);

  const std::string unit = "/units/stage0.y.point0.lpb", own = before.at(unit.substr(1));
  fs::copy(foreign + unit, folder + unit, fs::copy_options::overwrite_existing);
  for (const std::string& call : {joiningOf(folder), trainingOf(folder, "--unit 0-7")}) {
    expectRefusal(call, {folder + unit, "does not belong here: other options ("});
  }
  fs::copy(folder + "/units/stage0.y.point1.lpb", folder + unit,
           fs::copy_options::overwrite_existing);
  expectRefusal(joiningOf(folder),
                {folder + unit, "it is unit stage0.y.point1, not stage0.y.point0"});
  std::ofstream(folder + unit) << own;
  EXPECT_EQ(remora(joiningOf(folder)).status, 0);
  EXPECT_EQ(folderContents(folder), folderContents(model()));
}

// A worker that is killed leaves its unit to another one, and the user is told.
TEST(Program, aKilledWorkerCostsNothing) {
  const std::string folder = pathTo("killed"), err = pathTo("killed.txt");
  const std::string training = "train --sequence " + sequence() + ':' + truth() +
                               " --predictors 12 --generations 60 --stages 12,6 --jobs ";
  ASSERT_EQ(std::system(("'" REMORA_PROGRAM "' " + training + "2 -o " + folder + " 2>" + err +
                         " & p=$!; until ls " + folder +
                         "/units/*.lpb >/dev/null 2>&1; do sleep "
                         "0.01; done; kill -9 $(pgrep -P $p | head -1); wait $p")
                            .c_str()),
            0);
  expectNamed(contentsOf(err), {"warning: unit stage", "tried again", "signal 9"});
  const std::string whole = pathTo("unharmed");
  ASSERT_EQ(remora(training + "1 -o " + whole).status, 0);
  EXPECT_EQ(folderContents(folder), folderContents(whole));
}

TEST(Program, failedWritesAndInterruptionsLeaveTheModelAsItWas) {
  const std::string folder = pathTo("precious");
  fs::copy(model(), folder);
  const auto before = folderContents(folder);
  const std::string longer = "train --sequence " + sequence() + ':' + truth() +
                             " --force --seed 9 --stages 12 --generations 80 -o " + folder;
  const auto expectKept = [&](const std::string& prefix, const std::string& reason) {
    const Outcome outcome = remora(longer, prefix);
    EXPECT_NE(outcome.status, 0) << prefix;
    EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
    auto after = folderContents(folder);
    for (auto file = after.begin(); file != after.end();) {
      EXPECT_EQ(file->first.find("unfinished"), std::string::npos) << file->first;
      file = file->first.rfind("units/", 0) == 0 ? after.erase(file) : std::next(file);
    }
    EXPECT_TRUE(after == before) << prefix;
    fs::remove_all(folder + "/units");
  };
  for (const std::string blocks : {"1", "8", "40"}) {  // a full disk, more or less
    expectKept("trap '' XFSZ; ulimit -f " + blocks + ";", "remora: ");
  }
  for (const std::string signal : {"INT", "TERM"}) {
    for (const std::string delay : {"0.02", "0.05", "0.1"}) {
      expectKept("timeout -s " + signal + ' ' + delay, "");
    }
  }
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
  expectKept("", "another program is writing there");
  close(descriptor);
  ASSERT_EQ(remora(trainingOf(folder, "--force --seed 9")).status, 0);

  // A unit that a power failure has cut is trained again.
  const std::string cut = pathTo("cut");
  remora(trainingOf(cut), "trap '' XFSZ; ulimit -f 60;");
  for (const auto& entry : fs::directory_iterator(cut + "/units")) {
    if (entry.path().extension() == ".lpb") fs::resize_file(entry, fs::file_size(entry) / 2);
  }
  ASSERT_EQ(remora(trainingOf(cut)).status, 0);
  EXPECT_EQ(folderContents(cut), folderContents(model()));
}

// Runs the program until `condition` holds in a shell, then ends it; what it says then.
std::string saidWhenEnded(const std::string& arguments, const std::string& condition) {
  const std::string err = pathTo("ended.txt");
  const int code = std::system(
      ("exec 2>/dev/null; '" REMORA_PROGRAM "' " + arguments + " 2>" + err + " & p=$!; until " +
       condition + " || ! kill -0 $p; do sleep 0.01; done; kill $p; wait $p; test $? = 143")
          .c_str());
  EXPECT_EQ(code, 0) << "it ends as the signal does";
  return withoutProgress(contentsOf(err));
}

TEST(Program, anInterruptedTrainingSaysThatItGoesOn) {
  const std::string folder = pathTo("interrupted");
  const std::string training = "train --sequence " + sequence() + ':' + truth() +
                               " --predictors 12 --generations 150 --stages 12,6 -o " + folder;
  const std::string said = saidWhenEnded(training, "ls " + folder + "/units/*.lpb >/dev/null");
  EXPECT_TRUE(isOneLine(said, "remora: interrupted")) << said;
  EXPECT_NE(said.find("same command goes on"), std::string::npos) << said;
  EXPECT_FALSE(fs::exists(folder + "/model.json"));
  EXPECT_GT(folderContents(folder + "/units").size(), 1U);
}

TEST(Program, rowsOfAnInterruptedTrackingStay) {
  constexpr int kRounds = 500;
  const std::string table = pathTo("growing.csv"), shapes = pathTo("growing.txt");
  std::string images;
  for (int i = 0; i < kRounds; ++i) images += ' ' + footage() + "/f.0000[0-7].png";
  const std::string said =
      saidWhenEnded("track " + model() + images + " --csv " + table + " --shapes " + shapes,
                    "[ $(cat " + table + " | wc -l) -gt 9 ]");
  const int frames = (countOf("\n", contentsOf(table)) - 1) / 2;
  EXPECT_GT(frames, 4);
  EXPECT_TRUE(isOneLine(said, "remora: interrupted")) << said;
  const std::string far =
      std::to_string(frames) + " of " + std::to_string(kRounds * kFrames) + " frames";
  EXPECT_NE(said.find(far), std::string::npos) << said;
  const Outcome read = remora("evaluate " + shapes + " --truth " + shapes);
  EXPECT_NE(read.out.find(' ' + std::to_string(frames) + ' '), std::string::npos) << read.out;
}

TEST(Program, whatIsWrittenAtTheEndIsWrittenForTheFramesThatWereDone) {
  const std::string folder = pathTo("cut-short"), pictures = pathTo("cut-short-pictures");
  fs::copy(footage(), folder);
  fs::resize_file(folder + "/f.00004.png", 3000);
  const std::string table = pathTo("cut-short.csv");
  const std::string tracking = "track " + model() + " --sequence " + folder + "/f:0 --csv " +
                               table + " --overlay " + pictures;
  expectRefusal(tracking + " --smooth", {"f.00004.png", "damaged", "4 of 8 frames"});
  EXPECT_EQ(countOf("\n", contentsOf(table)), 1 + 2 * 4);
  EXPECT_EQ(folderContents(pictures).size(), 4U);
  fs::remove(table);
  expectRefusal(tracking + " --both-ways", {"f.00004.png", "damaged", "nothing is written"});
  EXPECT_FALSE(fs::exists(table));
}

TEST(Program, joinsMorePointsThanFilesMayBeOpen) {
  constexpr int kPoints = 40;
  std::string shapes = std::to_string(kFrames) + "\n";
  for (int i = 0; i < kFrames; ++i) {
    shapes += std::to_string(kPoints) + '\n';
    for (int p = 0; p < kPoints; ++p) shapes += std::to_string(40 + p) + " 50\n";
  }
  const std::string many = pathTo("many");
  const Outcome trained =
      remora("train --sequence " + sequence() + ":" + file("many.txt", shapes) +
                 " --frames 0-1 --predictors 2 --generations 1 --stages 6 -o " + many,
             "ulimit -n 30;");
  EXPECT_EQ(trained.status, 0) << trained.err;
  EXPECT_TRUE(fs::exists(many + "/model.json"));
}

TEST(Program, fullAndReadOnlyDisksLeaveTheModelAsItWas) {
  const std::string disk = pathTo("disk");
  fs::create_directory(disk);
  const auto run = [&disk](const std::string& script) {
    return std::system(("unshare -rm sh -ec '" + script + "' sh " + disk).c_str());
  };
  if (run("mount -t tmpfs none $1") != 0) GTEST_SKIP() << "no disk can be mounted here";
  const auto expectKept = [&](const std::string& change, const std::string& reason) {
    const std::string err = pathTo("disk.txt");
    EXPECT_EQ(run("mount -t tmpfs none $1; cp -r " + model() + "/. $1;" + change + "; ! \"" +
                  REMORA_PROGRAM "\" " + trainingOf("$1", "--force --seed 9") + " 2>" + err + ";" +
                  "diff -r -x units " + model() + " $1; ! find $1 | grep unfinished"),
              0);
    EXPECT_NE(contentsOf(err).find(reason), std::string::npos) << contentsOf(err);
  };
  expectKept("mount -o remount,ro $1", "Read-only");
  expectKept("mount --bind $1/stage1.flp $1/stage1.flp", "busy");
  for (const std::string spare : {"4", "20", "60", "100", "140"}) {
    expectKept("mount -o remount,size=$(($(du -sk $1 | cut -f1) + " + spare + "))k $1",
               "No space left");
  }
}

TEST(Program, configurationAndPointFileSayWhatOptionsSay) {
  const std::string points = file("points.txt", "\xef\xbb\xbf# name predictors\r\n0\n1 12 0 1.0\n");
  const std::string options = " --predictors 12 --generations 2 --stages 12,6 -o ";
  for (const std::string end : {"\n", "\r\n"}) {
    const std::string config =
        file("training.cfg", "1" + end + footage() + "/f" + end + "0" + end + truth() + end);
    const std::string configured = pathTo("configured");
    const Outcome outcome =
        remora("train --config " + config + " --points " + points + options + configured);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(folderContents(configured), folderContents(model()));
  }
  const std::string typo =
      file("typo.cfg", "1\r\n" + footage() + "/f\r\n0x\r\n" + truth() + "\r\n");
  expectRefusal("train --config " + typo + options + pathTo("none"), {typo, "line 3"});
  const std::string named = file("named.txt", "left\nright 12 7\n");
  expectRefusal(trainingOf(pathTo("none"), "--points " + named), {named, "line 2", "placement"});
  const std::string twins = file("twins.txt", "nose\n# and\nnose\n");
  expectRefusal(trainingOf(pathTo("none"), "--points " + twins), {twins, "line 3", "nose"});
  EXPECT_FALSE(fs::exists(pathTo("none")));
}

TEST(Program, refusesToTrainOnWhatCannotBeRight) {
  const std::string none = pathTo("none");
  const auto training = [&none](const std::string& shapes, const std::string& frames = "") {
    return "train --sequence " + sequence() + ":" + shapes + " " + frames + " -o " + none;
  };
  const std::string outside = file("outside.txt", "2\n2 60 50 80 60\n2 60 50 140 60\n");
  expectRefusal(training(outside), {"point 1", "(140.00, 60.00)", "f.00001.png"});
  const std::string differing = file("differing.txt", "2\n2 60 50 80 60\n1 60 50\n");
  expectRefusal(training(differing), {differing, "shape 1", "1 points"});
  const std::string cut = file("cut.txt", "2\n2 60 50 80 60\n2 60 50\n");
  expectRefusal(training(cut), {cut, "shape 1"});
  for (const char* text : {"2\n71.7 5\n60 7\n", "2\n60 50\n80 60\n", "3\n71.7 5\n60 7\n"}) {
    const std::string single = file("single.txt", text);
    expectRefusal(training(single), {single, "first line", "must be the number of shapes"});
  }
  const std::string marked = file("marked.txt",
                                  "\xef\xbb\xbf"
                                  "1\n2 60 50 80 60\n");
  expectRefusal(training(marked), {marked, "byte order mark"});
  expectRefusal(training(truth(), "--frames 0-8"), {truth(), "0 to 7", "0 to 8"});
  expectRefusal(training(truth(), "--frames 2,8"), {truth(), "0 to 7", "8 to 8"});
  expectRefusal(training(pathTo("missing.txt")), {pathTo("missing.txt")});
  expectRefusal(training(file("none.csv", "frame,name,x,y\n1,a,,\n")), {"f.00001.png", "none of"});
  expectRefusal(training(file("foreign.csv", "<dataset></dataset>")), {"foreign.csv", "import"});
  std::string ten = "10\n";
  for (int i = 0; i < 10; ++i) ten += "1 60 50\n";
  expectRefusal(training(file("ten.txt", ten)), {"f.00008.png"});
  CImg<unsigned char>(50, 40, 1, 1, 0).save_png(pathTo("g.00001.png").c_str());
  fs::copy(footage() + "/f.00000.png", pathTo("g.00000.png"), fs::copy_options::overwrite_existing);
  expectRefusal("train --plain --sequence " + pathTo("g") +
                    ":0:" + file("small.txt", "2\n1 40 20\n1 40 20\n") + " -o " + none,
                {"g.00001.png", "50 x 40"});
  EXPECT_FALSE(fs::exists(none));

  const std::string edge = file("edge.txt", "2\n1 20 50\n1 20 50\n");
  const Outcome warned =
      remora(training(edge, "--plain --predictors 2 --generations 1 --stages 6"));
  EXPECT_EQ(warned.status, 0) << warned.err;
  EXPECT_NE(warned.err.find("warning: point 0"), std::string::npos) << warned.err;
}

TEST(Program, trackAndExportNameWhatIsWrong) {
  expectRefusal("track " + pathTo("nothing") + " --sequence " + sequence(), {"model.json"});
  expectRefusal("track " + model() + " --sequence " + pathTo("nothing") + ":0",
                {"nothing.00000.png"});
  expectRefusal("track " + model() + " --sequence " + sequence() + " --init " + truth() + ":8",
                {truth(), "no shape 8"});
  EXPECT_EQ(remora("track " + model() + " --sequence " + sequence() + " --steps 1").status, kUsage);
  const std::string tracking = "track " + model() + " --sequence " + sequence();
  const std::string far = file("far.txt", "1\n2 60 50 80 200\n");
  expectRefusal(tracking + " --init " + far, {"point 1", "(80.00, 200.00)", "f.00000.png"});
  const std::string gap = file("gap.txt", "1\n2 nan nan nan nan\n");
  expectRefusal(tracking + " --init " + gap, {"f.00000.png", "no known positions"});
  expectRefusal(tracking + " --csv " + pathTo("no/where.csv"), {pathTo("no/where.csv")});
  expectRefusal(tracking + " --csv " + footage(), {footage(), "folder"});
  expectRefusal(tracking + " --csv " + footage() + "/f.00003.png", {"f.00003.png", "to read"});
  const std::string gone = pathTo("unreadable");
  fs::copy(footage(), gone);
  fs::resize_file(gone + "/f.00004.png", 3000);
  const std::string table = pathTo("broken-off.csv");
  expectRefusal("track " + model() + " --csv " + table + " --sequence " + gone + "/f:0",
                {"f.00004.png", "damaged", "4 of 8 frames", "f.00003.png"});
  const std::string rows = contentsOf(table);
  EXPECT_EQ(countOf("\n", rows), 1 + 2 * 4);
  EXPECT_EQ(remora("track " + model() + " --sequence " + gone + "/f:0").out, rows);
  expectRefusal("track " + model() + " --csv " + table + " " + gone + "/f.00004.png", {"damaged"});
  EXPECT_EQ(contentsOf(table), rows);  // nothing has come to replace them
  CImg<unsigned char>(50, 40, 1, 1, 0).save_png(pathTo("small.png").c_str());
  expectRefusal("track " + model() + " --csv " + table + " " + footage() + "/f.00000.png " +
                    pathTo("small.png"),
                {"small.png", "50 x 40", "f.00000.png"});
  const std::string damaged_model = pathTo("damaged");
  fs::copy(model(), damaged_model);
  std::ofstream(damaged_model + "/stage1.flp") << "2\n1\n";
  expectRefusal("track " + damaged_model + " --sequence " + sequence(), {"stage1.flp", "x part"});
  std::ofstream(damaged_model + "/stage1.flp") << contentsOf(model() + "/stage0.flp");
  expectRefusal("track " + damaged_model + " --sequence " + sequence(),
                {"stage1.flp", "train again"});
  expectRefusal("export " + model() + "/stage0.x.lpb " + pathTo("nothing") + " -o x.flp",
                {pathTo("nothing")});
}

// Numbered frames beside those of footage(), from the first on.
std::string copiedFrames(const std::string& base, int count) {
  for (int i = 0; i < count; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, ".%05d.png", i);
    fs::copy_file(footage() + "/f" + name, base + name, fs::copy_options::overwrite_existing);
  }
  return " --sequence " + base + ":0";
}

TEST(Program, manySequencesHaveATableEach) {
  const std::string tables = pathTo("tables");
  const std::string broken = pathTo("broken");
  std::ofstream(broken + ".00000.png") << "no picture";
  const std::string track = "track " + model() + " --sequence " + sequence() + " --sequence " +
                            broken + ":0" + copiedFrames(pathTo("short"), 5) + " -o " + tables +
                            "/";
  const Outcome first = remora(track + " --jobs 2");
  EXPECT_EQ(first.status, kFailed);
  expectNamed(first.err, {broken + ":0: not tracked: ", broken + ".00000.png",
                          "2 tracked, 0 finished before, 1 of 3 could not be tracked"});
  const std::string alone = remora("track " + model() + " --sequence " + sequence()).out;
  std::map<std::string, std::string> files = folderContents(tables);
  EXPECT_EQ(files.size(), 4U);
  EXPECT_EQ(files["f.csv"], alone);
  expectNamed(remora(track + " --check").err, {"1 of 3 are not finished in " + tables + ": 1"});

  copiedFrames(broken, 5);
  const Outcome second = remora(track + " --jobs 1");
  EXPECT_EQ(second.status, 0) << second.err;
  expectNamed(second.err, {"1 tracked, 2 finished before"});
  EXPECT_EQ(remora(track + " --check").status, 0);
  EXPECT_EQ(contentsOf(tables + "/broken.csv"), files["short.csv"]);

  // What was made from something else is named and kept, until it is asked for.
  files = folderContents(tables);
  copiedFrames(broken, 6);
  expectNamed(remora(track).err, {"broken.csv was made from other footage (", "--force"});
  expectNamed(remora(track + " --smooth").err, {"3 of 3 could not be tracked", "other options"});
  EXPECT_EQ(folderContents(tables), files);
  EXPECT_EQ(remora(track + " --force --unit 1").status, 0);
  EXPECT_NE(contentsOf(tables + "/broken.csv"), files["broken.csv"]);
  std::ofstream(tables + "/f.csv", std::ios::app) << "cut or changed";
  EXPECT_EQ(remora(track).status, 0);
  EXPECT_EQ(contentsOf(tables + "/f.csv"), alone);
  expectNamed(remora(track + " --unit 3").err, {"no unit 3: this list has units 0 to 2"});
  EXPECT_EQ(remora(track + " --sequence " + sequence()).status, kUsage);
  EXPECT_EQ(remora("track " + model() + " --sequence " + sequence() + " --force").status, kUsage);
}

TEST(Program, otherEnginesTrackManySequences) {
  const std::string tables = pathTo("it's planned");
  const std::string base = pathTo("it's");
  copiedFrames(base, 5);
  std::ofstream(pathTo("list")) << base << ":0\n" << sequence() << "\n";
  const Outcome planned = remora("track " + model() + " --list " + pathTo("list") +
                                 " --smooth --plan make --group 1 -o \"" + tables + "/\"");
  EXPECT_EQ(planned.status, 0) << planned.err;
  fs::rename(tables, pathTo("elsewhere"));
  EXPECT_EQ(
      std::system(
          ("make -j 2 -C " + pathTo("elsewhere") + "/plan >" + pathTo("log") + " 2>&1").c_str()),
      0)
      << contentsOf(pathTo("log"));
  const std::string alone = remora("track " + model() + " --smooth --sequence " + sequence()).out;
  EXPECT_EQ(contentsOf(pathTo("elsewhere") + "/f.csv"), alone);
  EXPECT_TRUE(fs::exists(pathTo("elsewhere") + "/it's.csv"));
}

TEST(Program, goesOnFromPositionsThatAreKnown) {
  // Frame 3 is given 3 px off, and point 1 of frame 0 is not given.
  const std::string table =
      file("known.csv", "frame,point,x,y\n0,0,60,50\n0,1,,\n3,0,69,50\n3,1,89.5,60.25\n");
  const std::string tracking = "track " + model() + " --sequence " + sequence();
  const Outcome started = remora(tracking + " --init " + table);
  ASSERT_EQ(started.status, 0) << started.err;
  expectNamed(started.out, {"\n0,0,0,60.0000,50.0000,1.000,tracked\n0,1,1,", ",occluded\n1,0,0,"});
  const Outcome corrected = remora(tracking + " --corrections " + table);
  expectNamed(corrected.out, {"\n3,0,0,69.0000,50.0000,1.000,tracked\n"});
  const Outcome both = remora(tracking + " --both-ways --smooth --corrections " + truth());
  ASSERT_EQ(both.status, 0) << both.err;
  EXPECT_EQ(countOf("\n", both.out), 1 + 2 * kFrames);
  // Nothing is known of a frame that shows nothing.
  const std::string nothing = file("nothing.csv", "frame,point,x,y\n0,0,nan,nan\n");
  EXPECT_EQ(remora(tracking + " --corrections " + nothing).out, remora(tracking).out);
  expectRefusal(tracking + " --corrections " + file("late.csv", "frame,point,x,y\n9,0,1,1\n"),
                {"late.csv", "frame 9", "0 to 7"});
  expectRefusal(tracking + ":3 --init " + file("late.csv", "frame,point,x,y\n9,0,1,1\n"),
                {"late.csv", "no positions for frame"});
}

TEST(Program, importsAndConvertsOrLeavesFilesAsTheyAre) {
  const std::string table = file("annotations.csv", "old");
  const std::string wrong = file("wrong.csv", "frame_idx,a.x,a.y\n1,2,3\n1,2,3\n");
  expectRefusal("import " + wrong + " -o " + table, {wrong, "line 3", "frame 1 is there already"});
  expectRefusal("import " + wrong + " --format coco -o " + table, {"looks like sleap"});
  expectRefusal("import " + wrong + " -o " + wrong, {"wrong.csv"});
  expectRefusal("convert " + wrong + " -o " + table + " --to coco", {wrong});
  EXPECT_EQ(contentsOf(table), "old");
  const std::string right = file("right.csv", "frame_idx,a.x,a.y\n1,2,3\n3,2.5,3\n");
  EXPECT_EQ(remora("import " + right + " -o " + table).status, 0);
  EXPECT_EQ(contentsOf(table),
            "frame,point,name,x,y\n1,0,a,2.000000,3.000000\n3,0,a,2.500000,3.000000\n");
  const std::string back = pathTo("back.analysis.csv");
  EXPECT_EQ(remora("convert " + table + " -o " + back).status, 0);
  const std::string again = pathTo("again.csv");
  EXPECT_EQ(remora("import " + back + " --format sleap -o " + again).status, 0);
  EXPECT_EQ(contentsOf(again), contentsOf(table));
  expectRefusal("convert " + table + " -o " + pathTo("gaps.txt"),
                {table, "frame 3 follows frame 1"});
  EXPECT_FALSE(fs::exists(pathTo("gaps.txt")));
}

TEST(Program, makesPagesOfFramesAndSaysWhichAreWanted) {
  const std::string page = file("page.html", "old");
  const std::string frames = "--sequence " + sequence();
  const std::string tracks = pathTo("annotated.csv");
  ASSERT_EQ(remora("track " + model() + " " + frames + " -o " + tracks).status, 0);
  const std::string empty = file("empty.csv", "frame,why\n");
  const std::string later =
      file("later.csv", "frame,point,name,x,y,confidence,status\n99,0,a,1,2,0.5,tracked\n");
  expectRefusal("annotate " + frames + " --at 3,99 -o " + page, {"--at 3,99", "no frame 99"});
  expectRefusal("annotate " + frames + " --suggested " + empty + " -o " + page, {empty});
  expectRefusal("annotate " + frames + " --tracks " + later + " -o " + page,
                {later, "no frame 99"});
  expectRefusal("annotate " + frames + " --tracks " + tracks + " -o " + tracks, {tracks});
  expectRefusal("annotate " + tracks + " -o " + page, {tracks});
  expectRefusal("suggest " + later + " " + frames, {later, "no frame 99"});
  expectRefusal("suggest " + tracks + " " + frames + " --annotations " + truth(),
                {"not annotated"});
  EXPECT_EQ(contentsOf(page), "old");

  const Outcome made = remora("annotate " + frames + " --tracks " + tracks + " --annotations " +
                              truth() + " --every 3 -o " + page);
  EXPECT_EQ(made.status, 0) << made.err;
  expectNamed(made.err, {": 3 frames", "MB"});
  const std::string text = contentsOf(page);
  expectNamed(text, {"{\"frame\":6,", "\"positions\":[[64.0,50.0],[84.5,60.25]]"});
  EXPECT_EQ(text.find("{\"frame\":1,"), std::string::npos);
  const std::string table = pathTo("next.csv");
  EXPECT_EQ(remora("suggest " + tracks + " " + frames + " --annotations " + truth() +
                   " --trained 0-3 --frames 4-6 -n 2 -o " + table)
                .status,
            0);
  expectNamed(contentsOf(table), {"frame,confidence,why\n"});
  EXPECT_EQ(remora("annotate " + frames + " --suggested " + table + " -o " + page).status, 0);
  expectNamed(contentsOf(page), {"\"why\":\""});
}

TEST(Program, exportJoinsWhatBelongsTogetherAlone) {
  const std::string x = model() + "/stage0.x.lpb", y = model() + "/stage0.y.lpb";
  const std::string flat = pathTo("together.flp");
  const auto joining = [&flat](const std::string& first, const std::string& second) {
    return "export " + first + ' ' + second + " -o " + flat;
  };
  expectRefusal(joining(y, x), {y, "for y"});
  expectRefusal(joining(x, x), {x, "for x"});
  const std::string finer = model() + "/stage1.y.lpb";
  expectRefusal(joining(x, finer), {x, finer, "different stages"});
  fs::copy(finer, pathTo("renamed"));
  expectRefusal(joining(x, pathTo("renamed")), {"renamed", "different stages", "6 px", "3 px"});
  EXPECT_FALSE(fs::exists(flat));
}

TEST(Program, overlaysHoldOneRunAndNothingOfOthers) {
  const std::string pictures = pathTo("overlay");
  const std::string tracking =
      "track " + model() + " --overlay " + pictures + " --sequence " + sequence();
  ASSERT_EQ(remora(tracking).status, 0);
  fs::copy(footage() + "/f.00000.png", pictures + "/00042.png");
  ASSERT_EQ(remora(tracking + ":3").status, 0);
  const auto three = folderContents(pictures);
  EXPECT_EQ(three.size(), 3U + 1U);

  fs::copy(footage() + "/f.00000.png", pictures + "/00005.png");
  expectRefusal(tracking, {pictures + "/00005.png", "no picture of an earlier run"});
  fs::remove(pictures + "/00005.png");
  expectRefusal("track " + model() + " --overlay " + pictures + ' ' + pictures + "/00002.png",
                {pictures + "/00002.png", "to read"});
  EXPECT_EQ(folderContents(pictures), three);
}

TEST(Program, exportsWhatTheModelHoldsAndKnowsFiles) {
  const std::string flat = pathTo("exported.flp");
  const std::string stage = model() + "/stage0";
  ASSERT_EQ(remora("export " + stage + ".x.lpb " + stage + ".y.lpb -o " + flat).status, 0);
  EXPECT_EQ(contentsOf(flat), contentsOf(stage + ".flp"));

  const std::pair<std::string, std::string> kinds[] = {
      {flat, "flat LP file of 2 points"},
      {stage + ".x.lpb", "bunch file of 2 points"},
      {truth(), "shape sequence file of 8 shapes of 2 points"},
      {file("one.txt", "2 1 2 3 4"), "shape file of 2 points"},
      {file("three.tres", "1 5 5\n1 6 6\n1 7 7\n"), "tres file of 3 shapes of 1 points"},
      {file("plus.txt", "1 +5 +6"), "shape file of 1 points"},
      {model(), "model of 2 points in 2 stages"},
      {model() + "/model.json", "model of 2 points in 2 stages"}};
  for (const auto& [name, kind] : kinds) {
    const Outcome info = remora("info " + name);
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_EQ(info.out.rfind(kind, 0), 0U) << info.out;
    EXPECT_EQ(info.out.find("/./"), std::string::npos) << info.out;
  }
  const std::string slashes = remora("info " + model() + "//./").out;
  EXPECT_EQ(slashes, remora("info " + model()).out);
  expectRefusal("info " + file("marked.txt",
                               "\xef\xbb\xbf"
                               "1 5 6"),
                {"byte order mark"});
  expectRefusal("info " + file("prose.txt", "once upon a time"), {"prose.txt"});
  expectRefusal("info /dev/zero", {"/dev/zero", "regular"});
}

TEST(Program, errorsAreSummarisedAsTheirNamesSay) {
  // Distances 0, 1, 2, 3 and 10 of point a; 5 of point b throughout.
  std::string table = "frame,point,name,x,y\n";
  std::string known = "5\n";
  const double distances[] = {0, 1, 2, 3, 10};
  for (int i = 0; i < 5; ++i) {
    std::ostringstream rows;
    rows << 7 + i << ",0,a," << distances[i] << ",0\n" << 7 + i << ",1,b,3,4\n";
    table += rows.str();
    known += "2 0 0 0 0\n";
  }
  const std::string evaluated =
      "evaluate " + file("e.csv", table) + " --truth " + file("e.txt", known);
  const Outcome outcome = remora(evaluated + ":7 --json");
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const auto result = nlohmann::json::parse(outcome.out);
  const auto& a = result["points"][0];
  EXPECT_EQ(a["name"], "a");
  EXPECT_DOUBLE_EQ(a["mean"], 3.2);
  EXPECT_DOUBLE_EQ(a["median"], 2.0);
  EXPECT_DOUBLE_EQ(a["p90"], 3.0 + 0.6 * 7.0);
  EXPECT_DOUBLE_EQ(a["worst"], 10.0);
  EXPECT_DOUBLE_EQ(a["lost"], 0.2);
  EXPECT_DOUBLE_EQ(result["all"]["lost"], 0.1);  // 5 px are not more than 5 px
  EXPECT_DOUBLE_EQ(
      nlohmann::json::parse(remora(evaluated + ":7 --json --frames 8-9").out)["points"][0]["mean"],
      1.5);
  EXPECT_DOUBLE_EQ(nlohmann::json::parse(
                       remora(evaluated + ":7 --json --frames 7,9-11/2").out)["points"][0]["mean"],
                   4.0);
  expectRefusal(evaluated, {"frames 7 to 11", "0 to 4"});
  expectRefusal("evaluate " + file("bad.csv", "frame,point,name,x,y\n0,0,a,1\n") + " --truth " +
                    file("e.txt", known),
                {"bad.csv", "line 2"});
  const std::string judged = "evaluate " + pathTo("e.csv") + " --report ";
  const Outcome page = remora(judged + pathTo("e.html"));
  EXPECT_EQ(page.status, 0) << page.err;
  EXPECT_EQ(page.out, "") << "there is no truth to judge by";
  EXPECT_NE(contentsOf(pathTo("e.html")).find("\"frames\":5"), std::string::npos);
  expectRefusal(judged + pathTo("e.csv"), {"e.csv", "files to read"});
  expectRefusal(judged + pathTo("e2.html") + " --footage " + pathTo("none") + ":0", {"none"});
  EXPECT_FALSE(fs::exists(pathTo("e2.html")));
}

// Real footage with known positions: the variable REMORA_FOOTAGE names the folder of its folders.
struct Limits {
  const char* frames;
  double mean;  // pixels
  double lost;  // share
};

// Empty where there is none.
std::string realFootage(const std::string& name) {
  const char* const footages = std::getenv("REMORA_FOOTAGE");
  const std::string folder = std::string(footages == nullptr ? "" : footages) + "/" + name;
  return footages != nullptr && fs::exists(folder) ? folder : "";
}

void expectTracked(const std::string& name, const std::string& training,
                   const std::vector<Limits>& limits) {
  const std::string folder = realFootage(name);
  if (folder.empty()) GTEST_SKIP() << "REMORA_FOOTAGE names no folder that holds " << name;
  const std::string frames = folder + "/" + name + ":0";
  const std::string known = folder + "/truth.txt";
  const std::string trained = pathTo(name);
  const std::string tracked = pathTo(name + ".csv");
  ASSERT_EQ(remora("train --sequence " + frames + ":" + known + " --frames " + training + " -o " +
                   trained)
                .status,
            0);
  ASSERT_EQ(remora("track " + trained + " --sequence " + frames + " --init " + known + " --csv " +
                   tracked)
                .status,
            0);
  for (const Limits& limit : limits) {
    const Outcome outcome =
        remora("evaluate --json " + tracked + " --truth " + known + " --frames " + limit.frames);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto all = nlohmann::json::parse(outcome.out)["all"];
    EXPECT_LE(all["mean"], limit.mean) << limit.frames;
    EXPECT_LE(all["lost"], limit.lost) << limit.frames;
  }
}

TEST(RealFootage, cartonIsTrackedWithoutLoss) {
  expectTracked("carton", "0-48/3", {{"1-48", 0.26, 0.0}, {"49-98", 0.4, 0.005}});
}

TEST(RealFootage, faceIsTrackedThroughUnseenMotion) {
  expectTracked("face", "0-149/10", {{"1-149", 0.48, 0.005}, {"150-227", 0.52, 0.003}});
}

// Every position of the truth, spoilt.
std::string spoiltTruth(const std::string& truth_file,
                        const std::function<void(std::vector<std::vector<double>>&)>& spoil) {
  std::istringstream in(contentsOf(truth_file));
  std::size_t frames = 0;
  in >> frames;
  std::vector<std::vector<double>> shapes(frames);
  for (std::vector<double>& shape : shapes) {
    std::size_t points = 0;
    in >> points;
    shape.resize(2 * points);
    for (double& value : shape) in >> value;
  }
  spoil(shapes);
  std::ostringstream out;
  out << shapes.size() << '\n';
  for (const std::vector<double>& shape : shapes) {
    out << shape.size() / 2;
    for (const double value : shape) out << ' ' << value;
    out << '\n';
  }
  return file("spoilt.txt", out.str());
}

// What a training says that looks wrong.
void expectFaultsNamed(const std::string& name, const std::string& training, std::size_t half) {
  const std::string folder = realFootage(name);
  if (folder.empty()) GTEST_SKIP() << "REMORA_FOOTAGE names no folder that holds " << name;
  const std::string model = pathTo("spoilt");
  const auto said = [&](const std::string& truth_file) {
    return remora("train --force --sequence " + folder + "/" + name + ":0:" + truth_file +
                  " --frames " + training + " -o " + model)
        .err;
  };
  const std::string known = folder + "/truth.txt";
  EXPECT_EQ(countOf("warning", said(known)), 0);
  const std::string shifted = said(spoiltTruth(
      known, [](auto& shapes) { std::rotate(shapes.begin(), shapes.begin() + 1, shapes.end()); }));
  EXPECT_EQ(countOf("frames behind them better", shifted), 1) << shifted;
  EXPECT_EQ(countOf("counted from 1", shifted), 0) << shifted;
  const std::string swapped = said(spoiltTruth(known, [](auto& shapes) {
    for (std::vector<double>& shape : shapes) {
      for (std::size_t i = 0; i < shape.size(); i += 2) std::swap(shape[i], shape[i + 1]);
    }
  }));
  EXPECT_EQ(countOf("swapped", swapped), 1) << swapped;
  const std::string counted = said(spoiltTruth(known, [half](auto& shapes) {
    for (std::size_t i = half; i < shapes.size(); ++i) {
      for (double& value : shapes[i]) value += 1.0;
    }
  }));
  EXPECT_EQ(countOf("warning", counted), 1) << counted;
  EXPECT_EQ(countOf("counted from 1", counted), 1) << counted;
  EXPECT_NE(remora("info " + model).out.find("counted from 1"), std::string::npos);
}

TEST(RealFootage, faultsOfCartonsAnnotationsAreNamed) { expectFaultsNamed("carton", "0-48/3", 30); }

TEST(RealFootage, faultsOfFacesAnnotationsAreNamed) { expectFaultsNamed("face", "0-149/10", 90); }

}  // namespace
