#include <ctime>

#include "shape_lp_track.h"
#include "support.h"

namespace {

int points, shapes;

// The coordinates of all points of all shapes, a null behind every shape; all arrays are released.
Reals taken(float*** all) {
  Reals values;
  for (int i = 0; i < shapes; ++i) {
    for (float** point = all[i]; *point != nullptr; delete[] * point++) {
      values.insert(values.end(), *point, *point + 2);
    }
    delete[] all[i];
  }
  delete[] all;
  return values;
}

TEST(ShapeFile, isReadScaledOrNotAtAll) {
  shapes = 1;
  EXPECT_EQ(
      taken(new float** [1] { ReadShapeFile(file("a", "2\n1 2\n3 4.5").c_str(), 0.5F, &points) }),
      (Reals{0.5, 1, 1.5, 2.25}));
  const auto read = [](const char* name) { EXPECT_EQ(ReadShapeFile(name, 1, &points), nullptr); };
  expectRefused("2 1 2 3 4.5", "malformed shape file ", read);
  EXPECT_EQ(said([&] { read("none/x"); }), "cannot open shape file none/x for reading\n");
  EXPECT_EQ(points, 2);
}

TEST(ShapeSequence, isReadUpToItsFirstFault) {
  const auto expectRead = [](const std::string& text, const char* message, const Reals& expected) {
    const std::string name = file("shapes", text);
    EXPECT_TRUE(isOneLine(said([&] {
                            EXPECT_EQ(taken(ReadShapeFileSeq(name.c_str(), 1.0F, &points, &shapes)),
                                      expected);
                          }),
                          message));
  };
  expectRead("2 1 1 2 2 3 4 5 6", "shapes in ", {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(points, 2);
  expectRead("3 1 1 2 1 3 x", "malformed shape sequence file ", {1, 2});
  expectRead("2147483647 2147483647 1", "malformed shape sequence file ", {});
  EXPECT_EXIT(ReadShapeFileSeq("none/x", 1.0F, &points, &shapes), testing::ExitedWithCode(1), "");
}

TEST(TresFile, isReadToItsEndWithNoNumbersForWhatIsMissing) {
  Reals read;
  const auto frames = [&](const std::string& text) {
    const std::string path = file("tres", text);
    const auto action = [&] { read = taken(ReadTresFile(path.c_str(), 2, &points, &shapes)); };
    return countOf("\n", said(action));
  };
  EXPECT_EQ(frames("1 1 2\n1\n3 4 \n"), 0);
  EXPECT_EQ(read, (Reals{2, 4, 6, 8}));
  EXPECT_EQ(frames("2 1 2 3 4 2 5 6 7"), 1);
  EXPECT_TRUE(read.size() == 8 && read[6] == 14 && std::isnan(read[7]));
  EXPECT_EQ(frames("3 1 2 3"), 1);
  EXPECT_TRUE(read.size() == 6 && read[2] == 6 && std::isnan(read[3]) && std::isnan(read[5]));
  EXPECT_EQ(frames("1 1 2 x"), 1);
  EXPECT_EQ(read, (Reals{2, 4}));
  EXPECT_EQ(frames(" \n") + points + shapes, 0);
  EXPECT_EQ(ReadTresFile("none/x", 1, &points, &shapes), nullptr);
}

TEST(Sleep, lastsForSoManyTicksOfTheProcessorsTime) {
  const std::clock_t start = std::clock();
  sleep(30000);
  EXPECT_GE(std::clock() - start, 30000);
  sleep(-1);
}

}  // namespace
