#include "internal/text_io.h"

#include <cfloat>
#include <clocale>
#include <climits>
#include <cmath>
#include <cstring>

#include "support.h"

using remora::internal::TextReader;
using remora::internal::TextWriter;

namespace {

std::uint64_t bitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

std::string printed(const char* format, double value) {
  char text[400];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Numbers, and their texts as printf writes them in the C locale.
struct Numbers {
  std::vector<double> reals{0.0,     -0.0,    DBL_MAX, -DBL_MAX,  DBL_MIN,   5e-324,  0.0000005,
                            -5e-7,   999999.9999995,   HUGE_VAL,  -HUGE_VAL, NAN,     -NAN};
  std::vector<int> integers{0, -1, 7, INT_MAX, INT_MIN};
  std::string fixed, exact, whole;

  Numbers() {
    for (int k = -2001; k < 2001; k += 2) reals.push_back(k / 128.0);  // ties behind the sixth decimal
    Random random(1);
    for (int i = 0; i < 20000; ++i) {
      const std::uint64_t bits = random.bits();
      double value;
      std::memcpy(&value, &bits, sizeof value);
      if (!std::isnan(value)) reals.push_back(value);
      reals.push_back(random.real(-1000.0, 1000.0));
      integers.push_back(static_cast<int>(bits));
    }
    for (const double value : reals) fixed += printed("%f ", value);
    for (const double value : reals) exact += printed("%.17g ", value);
    for (const int value : integers) whole += std::to_string(value) + ' ';
    fixed += '\n';
    whole += '\n';
  }

  void expectFaithful() const {
    EXPECT_TRUE(realText(reals) == fixed);
    EXPECT_TRUE(written([&](std::FILE* f) {
                  TextWriter(f).integerLine(integers.data(), integers.size());
                }) == whole);

    const Stream stream = streamOf(fixed + whole + exact);
    TextReader in(stream.get(), "numbers");
    EXPECT_TRUE(realText(in.reals(reals.size(), "real")) == fixed);
    EXPECT_EQ(in.integers(integers.size(), "integer"), integers);
    for (const double value : reals) {
      const double read = in.real("real");
      ASSERT_TRUE(std::isnan(value) ? std::isnan(read) : bitsOf(read) == bitsOf(value)) << value;
    }
    EXPECT_EQ(in.fault(), "");
    EXPECT_TRUE(in.atEnd());
  }

  static std::string realText(const std::vector<double>& values) {
    return written([&](std::FILE* f) { TextWriter(f).realLine(values.data(), values.size()); });
  }
};

TEST(TextIo, numbersAreWrittenAsPrintfDoesAndReadBack) { Numbers().expectFaithful(); }

TEST(TextIo, theLocaleOfTheHostChangesNothing) {
  const Numbers numbers;
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "locale not installed";
  EXPECT_EQ(printed("%.1f", 0.5), "0,5");
  numbers.expectFaithful();
  std::setlocale(LC_ALL, "C");
}

TEST(TextIo, theStreamIsLeftRightAfterTheLastValue) {
  const Stream stream = streamOf("12\t-3.5\n+7 .5e1");
  TextReader in(stream.get(), "numbers");
  EXPECT_EQ(in.integer("first"), 12);
  EXPECT_EQ(in.real("second"), -3.5);
  EXPECT_EQ(std::fgetc(stream.get()), '\n');
  EXPECT_EQ(TextReader(stream.get(), "more").count("third"), 7);
  EXPECT_EQ(std::ftell(stream.get()), 10);
  EXPECT_EQ(in.single("fourth"), 5.0F);
}

TEST(TextIo, theFirstFaultNamesItsItemAndPlaceAndEndsReading) {
  const std::string nines(500, '9');
  const std::string cut = '"' + nines.substr(0, 24) + "...\" is not a number";
  const struct {
    std::string token, integer_fault, real_fault;
  } cases[] = {{"", "the file ends here", "the file ends here"},
               {"1.5", "\"1.5\" is not a number", ""},
               {"12abc", "\"12abc\" is not a number", "\"12abc\" is not a number"},
               {"1,5", "\"1,5\" is not a number", "\"1,5\" is not a number"},
               {"--5", "\"--5\" is not a number", "\"--5\" is not a number"},
               {"+-5", "\"+-5\" is not a number", "\"+-5\" is not a number"},
               {"\x1b[m", "\"?[m\" is not a number", "\"?[m\" is not a number"},
               {"2147483648", "\"2147483648\" is out of range", ""},
               {"-1e999", "\"-1e999\" is not a number", "\"-1e999\" is out of range"},
               {nines, cut, cut}};
  for (const auto& [token, integer_fault, real_fault] : cases) {
    for (const bool real : {false, true}) {
      const Stream stream = streamOf("8 " + token + " 9");
      TextReader in(stream.get(), "bunch file", "a.lpb");
      EXPECT_EQ(in.integer("count"), 8);
      const TextReader::Within within(in, "predictor", 5);
      if (token.empty()) std::fseek(stream.get(), 0, SEEK_END);
      const double value = real ? in.real("value", 3) : in.integer("value", 3);
      const std::string& fault = real ? real_fault : integer_fault;
      if (fault.empty()) continue;
      EXPECT_EQ(in.fault(), "bunch file a.lpb: predictor 5, value 3: " + fault);
      EXPECT_EQ(value, 0.0);
      const long place = std::ftell(stream.get());
      EXPECT_EQ(in.integer("next"), 0);
      EXPECT_TRUE(in.reals(4, "next").empty());
      EXPECT_EQ(std::ftell(stream.get()), place);
      EXPECT_EQ(said([&] { EXPECT_FALSE(in.report()); }), "malformed " + in.fault() + '\n');
    }
  }
}

TEST(TextIo, aCountIsNotNegative) {
  const Stream stream = streamOf("0 -1");
  TextReader in(stream.get(), "record");
  EXPECT_EQ(in.count("count"), 0);
  EXPECT_EQ(in.count("count"), 0);
  EXPECT_EQ(in.fault(), "record: count: -1 is negative");
}

TEST(TextIo, memoryGrowsWithTheValuesThatArrive) {
  const Stream stream = streamOf("1 2 3");
  EXPECT_LT(largestBlock([&] {
              TextReader in(stream.get(), "record");
              EXPECT_EQ(in.integers(2147483647, "offset"), (std::vector<int>{1, 2, 3}));
              EXPECT_EQ(in.fault(), "record: offset 3: the file ends here");
            }), kModest);
}

TEST(TextIo, onlyFilesThatHoldTextAreOpened) {
  const Folder folder;
  EXPECT_EQ(remora::internal::openToRead((folder / "").c_str()), nullptr);
  EXPECT_EQ(remora::internal::openToRead((folder / "none").c_str()), nullptr);
  EXPECT_EQ(remora::internal::openToRead(nullptr), nullptr);
  EXPECT_EQ(remora::internal::openToWrite((folder / "none/new").c_str()), nullptr);
}

TEST(TextIo, aFullDiskIsReportedAtClosing) {
  for (const std::size_t size : {std::size_t{10}, std::size_t{1} << 20}) {
    Stream stream = remora::internal::openToWrite("/dev/full");
    if (stream == nullptr) GTEST_SKIP() << "no /dev/full here";
    TextWriter(stream.get()).text(std::string(size, '1'));
    EXPECT_TRUE(isOneLine(
        said([&] { remora::internal::closeWritten(std::move(stream), "/dev/full"); }),
        "writing file /dev/full failed: "));
  }
}

}  // namespace
