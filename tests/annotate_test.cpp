// Annotation files, the page that saves them, and suggestions of frames.
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "follow/annotation/annotations.h"
#include "follow/annotation/formats/formats.h"
#include "follow/annotation/recording.h"
#include "follow/error.h"
#include "follow/report/annotation_page.h"
#include "follow/report/evaluation.h"
#include "follow/report/suggestion.h"
#include "support.h"

namespace {

using namespace remora;

template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const Error& failure) {
    return failure.what();
  }
  return "";
}

// An annotation file with these frames of the points nose and tail.
std::string saved(const std::string& frames, const std::string& version = "1") {
  return R"({"format": "remora annotations", "version": )" + version +
         R"(, "points": [{"name": "nose", "colour": "#ff0000"}, {"name": "tail"}],
            "lines": [["tail", "nose"]], "frames": [)" +
         frames + "]}";
}

TEST(AnnotationFiles, knowHiddenPointsAndLines) {
  const std::string name = file(
      "saved.json", saved(
                        R"({"frame": 7, "file": "shot", "positions": [[1.5, 2], [3, 4, "hidden"]]},
         {"frame": 3, "file": "shot", "skipped": true, "positions": [null, null]},
         {"frame": 5, "file": "shot", "positions": ["missing", [6, 7]]})"));
  Annotations read = readAnnotations(name);
  ASSERT_EQ(read.frames.size(), 2U);
  EXPECT_EQ(read.frames[0].number, 5);
  EXPECT_FALSE(isSeen(read.frames[0].points[0]));
  EXPECT_EQ(read.frames[1].hidden, (std::vector<std::size_t>{1}));
  EXPECT_EQ(read.frames[1].points[1].x, 3.0);
  EXPECT_FALSE(isSeen(shownPoints(read.frames[1])[1]));
  EXPECT_EQ(readRecording({"clips/shot", 0, name}).annotations.frames.size(), 2U);
  EXPECT_TRUE(hasFrameNumbers(name));
  // In a table hidden points are unseen; importing finds out what the file is.
  EXPECT_NE(formatAnnotations(read).find("7,1,tail,,"), std::string::npos);
  EXPECT_EQ(importAnnotations({name}).frames.size(), 2U);
  // Among other points, in another order.
  takeNames({"fin", "tail", "nose"}, name, read);
  EXPECT_EQ(read.frames[1].hidden, (std::vector<std::size_t>{1}));
  EXPECT_EQ(read.frames[1].points[2].x, 1.5);
  EXPECT_EQ(read.lines[0], (std::pair<std::size_t, std::size_t>{1, 2}));
  // A hidden point should not be trusted.
  Tracks tracks;
  tracks.names = {"nose", "tail"};
  tracks.frame_numbers = {7};
  tracks.shapes = {{{1.5, 2, 0.9, Status::kTracked}, {3, 4, 0.9, Status::kTracked}}};
  const Evaluation evaluation = evaluate(tracks, {readOneRecording(name), {}}, 5.0, {});
  ASSERT_TRUE(evaluation.separation);
  EXPECT_EQ(evaluation.separation->not_good, 1U);
}

TEST(AnnotationFiles, sayWhatIsWrongWithThem) {
  const std::string good = R"({"frame": 1, "positions": [[1, 2], [3, 4]]})";
  const std::vector<std::pair<std::string, std::vector<std::string>>> faults = {
      {saved(good, "2"), {"version 2"}},
      {saved(good, "\"1\""), {"no version"}},
      {saved(good + ',' + good), {"frame 1", "twice"}},
      {saved(R"({"frame": 1, "positions": [[1, 2]]})"), {"frame 0", "1 positions"}},
      {saved(R"({"frame": 1, "positions": [[1, 2, "lost"], null]})"), {"frame 0", "hidden"}},
      {saved(R"({"frame": 1, "positions": [[1, "2"], null]})"), {"frame 0", "no number"}},
      {saved(R"({"frame": 1.5, "positions": [null, null]})"), {"frame 0", "whole"}},
      {saved(R"({"frame": 1, "positions": [null, null]})"), {"no positions"}},
      {saved("7"), {"frame 0", "no object"}},
      {R"({"format": "rem)", {"ends too early"}},
      {R"({"images": []})", {"import"}},
      {"<!DOCTYPE html>", {"is a page", "browser"}}};
  for (const auto& [text, parts] : faults) {
    const std::string name = file("fault.json", text);
    const std::string message = refusal([&] { readAnnotations(name); });
    for (const std::string& part : parts) {
      EXPECT_NE(message.find(part), std::string::npos) << part << " in: " << message;
    }
    EXPECT_NE(message.find(name), std::string::npos) << message;
  }
}

TEST(AnnotationPages, holdNothingThatEndsTheirScripts) {
  Annotations points;
  points.names = {"</script><script>alert(1)</script>"};
  AnnotationPage page("<!--<script>", points);
  const Picture picture{2, 1, 1, {0, 255}};
  page.add({4, "</script>", "<img>", "<b>", nullptr, nullptr}, picture);
  const std::string text = page.text();
  const std::size_t data = text.find("<script type=\"application/json\"");
  const std::size_t end = text.find("</script>", data);
  EXPECT_EQ(text.substr(data + 1, end - data - 1).find('<'), std::string::npos);
  EXPECT_NE(text.substr(data, end - data).find("\"image\":\"data:image/png;base64,iVBORw0KGgo"),
            std::string::npos);
  AnnotationPage other("\xff.mp4", points);
  EXPECT_NE(refusal([&] { other.text(); }).find("UTF-8"), std::string::npos);
}

// Four frames each of three looks: the shape stays, the picture under it changes.
GreyImage lookOf(int frame) {
  GreyImage picture{120, 100, std::vector<unsigned char>(12000)};
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 120; ++x) {
      const int look = frame / 4;
      const double wave = look == 0   ? std::sin(x / 3.0)
                          : look == 1 ? std::sin(y / 3.0)
                                      : std::sin((x + y) / 4.0);
      picture.pixels[static_cast<std::size_t>(y * 120 + x)] =
          static_cast<unsigned char>(128 + 100 * wave + (frame * 7 + x * 3 + y * 5) % 4);
    }
  }
  return picture;
}

TEST(Suggestions, areFramesThatStandForOthers) {
  Tracks tracks;
  tracks.names = {"a", "b", "c"};
  for (int i = 0; i < 12; ++i) {
    tracks.frame_numbers.push_back(100 + i);
    // The third look is the one that tracking is sure of.
    const double confidence = i / 4 == 2 ? 0.9 : 0.5;
    tracks.shapes.push_back({{40, 40, confidence, Status::kTracked},
                             {80, 40, confidence, Status::kTracked},
                             {60, 70, confidence, Status::kTracked}});
  }
  Annotations known;
  known.names = tracks.names;
  known.frames.push_back({101, "", {{40, 40}, {80, 40}, {60, 70}}});
  Suggester suggester(tracks, known, {});
  EXPECT_EQ(suggester.wanted().size(), 12U);
  for (int i = 0; i < 12; ++i) suggester.look(100 + i, lookOf(i));
  const std::vector<Suggestion> picked = suggester.pick(2);
  ASSERT_EQ(picked.size(), 2U);
  EXPECT_EQ((picked[0].frame - 100) / 4, 1);  // the annotated look helps all of its frames
  EXPECT_EQ((picked[1].frame - 100) / 4, 2);
  EXPECT_NE(picked[0].why.find("confidence 0.50"), std::string::npos) << picked[0].why;
  EXPECT_EQ(suggester.pick(99).size(), 11U);  // all but the annotated one

  const std::vector<Suggestion> read = readSuggestions(file("s.csv", formatTable(picked)));
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].frame, picked[0].frame);
  EXPECT_EQ(read[0].why, picked[0].why);
  EXPECT_NE(refusal([] { readSuggestions(file("t.csv", "frame\none\n")); }).find("line 2"),
            std::string::npos);
  EXPECT_NE(refusal([] { readSuggestions(file("t.csv", "a,b\n1,2\n")); }).find("column frame"),
            std::string::npos);
  EXPECT_NE(refusal([&] {
              Suggester(tracks, known, {{101, 101}});
            }).find("not annotated"),
            std::string::npos);
}

}  // namespace
