// The page that shows how tracks went.
#include "follow/report/report.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "follow/error.h"

namespace {

using namespace remora;
using Json = nlohmann::json;

constexpr int kFrames = 1500;
constexpr int kFirst = 100;

// Two points on a line; truth stands still. The second strays by a pixel each hundredth frame, and
// by nine pixels in frame 700, where it is occluded.
ReportMatter matter(bool with_truth) {
  ReportMatter matter;
  matter.title = "walk.csv";
  matter.tracks.names = {"left", "</script><b>right"};
  matter.truth = Truth{};
  matter.truth->annotations.names = matter.tracks.names;
  for (int i = 0; i < kFrames; ++i) {
    const double off = i == 600 ? 9.0 : i % 100 == 0 ? 1.0 : 0.0;
    matter.tracks.frame_numbers.push_back(kFirst + i);
    matter.tracks.shapes.push_back(
        {{10.0, 20.0, 1.0, Status::kTracked},
         {210.0 + off, 20.0, 1.0 - off / 10.0, off > 5.0 ? Status::kOccluded : Status::kTracked}});
    matter.truth->annotations.frames.push_back({kFirst + i, "", {{10.0, 20.0}, {210.0, 20.0}}});
  }
  if (!with_truth) matter.truth.reset();
  return matter;
}

Json dataOf(const std::string& page) {
  const std::string open = "<script id=\"data\" type=\"application/json\">";
  const std::size_t start = page.find(open) + open.size();
  return Json::parse(page.substr(start, page.find("</script>", start) - start));
}

TEST(Report, holdsTheFiguresOfTheTracks) {
  ReportMatter about = matter(true);
  about.trained = FrameChoice{{kFirst, kFirst + kFrames, 100}};
  Report report(about);
  const Json data = dataOf(report.text());
  const Json& all = data["groups"][0];
  EXPECT_EQ(all["all"]["worst"], 9.0);
  EXPECT_EQ(all["points"][1]["name"], about.tracks.names[1]);
  EXPECT_NEAR(all["area"], 1.0 - (14 * 0.2 + 1.0) / (2 * kFrames), 0.0006);
  EXPECT_EQ(all["curve"].front()[1], 0.995);
  EXPECT_EQ(all["curve"].back()[1], 1.0);
  EXPECT_EQ(data["groups"][1]["all"]["worst"], 1.0) << "of tracked positions";
  EXPECT_EQ(data["groups"][2]["all"]["count"], 30);
  EXPECT_EQ(data["groups"][3]["all"]["worst"], 0.0) << "of frames that were not trained";
  EXPECT_EQ(data["counts"], (Json{{"tracked", 2999}, {"occluded", 1}, {"lost", 0}}));
}

TEST(Report, growsNoFurtherWithTheFrames) {
  const Json time = dataOf(Report(matter(true)).text())["timeline"];
  const std::size_t steps = time["steps"].size();
  EXPECT_EQ(steps, 500U);
  EXPECT_EQ(time["steps"][200], (Json{700, 702}));
  EXPECT_EQ(time["error"]["points"][1][200], 3.0);
  EXPECT_EQ(time["error"]["mean"][200], 1.5);
  EXPECT_EQ(time["error"]["most"][200], 9.0);
  EXPECT_NEAR(time["confidence"]["least"][200], 0.1, 1e-9);
  EXPECT_NEAR(time["occluded"][200], 1.0 / 6.0, 0.001);
  EXPECT_EQ(time["motion"]["points"][1][200], 6.0) << "there and back again, in three frames";
  EXPECT_EQ(time["lost"].size(), steps);
}

TEST(Report, showsTheWorstFramesApartFromEachOther) {
  Report report(matter(true));
  const std::set<int> wanted = report.wantedFrames();
  EXPECT_EQ(wanted.count(700), 1U);
  EXPECT_EQ(wanted.count(kFirst), 1U) << "for the paths";
  report.add(700, {2, 1, 1, {0, 255}});
  const Json data = dataOf(report.text());
  const Json& worst = data["worst"];
  ASSERT_EQ(worst.size(), 6U);
  EXPECT_EQ(worst[0]["frame"], 700);
  EXPECT_EQ(worst[0]["score"], 4.5);
  EXPECT_EQ(worst[0]["picture"]["image"].get<std::string>().rfind("data:image/png;base64,", 0), 0U);
  EXPECT_EQ(worst[0]["truth"][1], (Json{210.0, 20.0}));
  EXPECT_TRUE(worst[1]["picture"].is_null());
  for (std::size_t i = 1; i < worst.size(); ++i) EXPECT_EQ(worst[i]["score"], 0.5) << i;
}

TEST(Report, doesWithoutTruthAndWithoutConfidence) {
  ReportMatter about = matter(false);
  const Json data = dataOf(Report(about).text());
  EXPECT_TRUE(data["groups"].empty());
  EXPECT_TRUE(data["timeline"]["error"].is_null());
  EXPECT_EQ(data["worst"][0]["frame"], 700);
  for (TrackedShape& shape : about.tracks.shapes) {
    for (TrackedPoint& point : shape) point.confidence = std::nan("");
  }
  about.tracks.shapes[0][0].x = std::nan("");
  const Json plain = dataOf(Report(about).text());
  EXPECT_TRUE(plain["timeline"]["confidence"].is_null());
  EXPECT_TRUE(plain["worst"].empty());
  EXPECT_TRUE(plain["paths"]["lines"][0][0][0].is_null());
  EXPECT_THROW(Report(ReportMatter{}), Error);
  about.truth = matter(true).truth;
  about.judged = {{5, 9}};
  EXPECT_THROW(Report{about}, Error) << "no such frames";
}

TEST(Report, isNoPlaceForCodeInNames) {
  const std::string page = Report(matter(true)).text();
  EXPECT_EQ(page.find("<b>right"), std::string::npos);
  EXPECT_EQ(page.find("@DATA@"), std::string::npos);
  for (const char* elsewhere : {"src=\"", "href=\"http", "url(", "@import"}) {
    EXPECT_EQ(page.find(elsewhere), std::string::npos) << elsewhere;
  }
  EXPECT_EQ(page, Report(matter(true)).text());
}

}  // namespace
