#include "internal/text_io.h"

#include <cfloat>
#include <clocale>
#include <cstring>

#include "support.h"

namespace {

using namespace remora::internal;

std::string printed(const char* format, const Reals& values) {
  char text[400];
  std::string line;
  for (const double value : values) line.append(text, std::snprintf(text, 400, format, value) + 0U);
  return line + '\n';
}
std::string lineOf(const Reals& values) {
  return written([&](std::FILE* f) { TextWriter(f).realLine(values.data(), values.size()); });
}

class Locale : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(TextIo, Locale, testing::Values("C", "de_DE.UTF-8"));

TEST_P(Locale, realsAreWrittenAsPrintfDoesInTheCLocaleAndReadBack) {
  Reals reals{0, -0.0, DBL_MAX, -DBL_MAX, DBL_MIN, 5e-324, 5e-7, HUGE_VAL, -HUGE_VAL, NAN, -NAN};
  for (int k = -2001; k < 2001; k += 2) reals.push_back(k / 128.0);  // ties in the rounding
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const auto bits = random.bits();
    std::memcpy(&reals.emplace_back(), &bits, sizeof bits);
    if (std::isnan(reals.back())) reals.pop_back();
  }
  const std::string fixed = printed("%f ", reals), exact = printed("%.17g ", reals);
  if (std::setlocale(LC_ALL, GetParam()) == nullptr) GTEST_SKIP() << "locale not installed";
  EXPECT_TRUE(lineOf(reals) == fixed);
  const Stream stream = streamOf(fixed + exact + "+7 -2147483648\n");
  TextReader in(stream.get(), "numbers");
  EXPECT_TRUE(lineOf(in.reals(reals.size(), "real")) == fixed);
  EXPECT_TRUE(printed("%a ", in.reals(reals.size(), "real")) == printed("%a ", reals));
  EXPECT_EQ(in.integers(2, "integer"), (Ints{7, INT_MIN}));
  EXPECT_EQ(std::fgetc(stream.get()), '\n');  // left right after the last number
  EXPECT_TRUE(in.ok() && in.atEnd()) << in.fault();
  std::setlocale(LC_ALL, "C");
}

TEST(TextIo, theFirstFaultNamesItsPlaceAndEndsReading) {
  const std::string none = "is not a number", large = "is out of range";
  const auto expectFault = [](const std::string& token, bool is_real, const std::string& reason) {
    const Stream stream = streamOf(token + " 9");
    TextReader in(stream.get(), "bunch file", "a.lpb");
    const TextReader::Within within(in, "predictor", 5);
    EXPECT_EQ(is_real ? in.real("value", 3) : in.count("value", 3), 0.0);
    EXPECT_TRUE(in.integer("next") == 0 && in.reals(INT_MAX, "next").empty());
    const std::string shown = token.size() < 25 ? token : token.substr(0, 24) + "...";
    EXPECT_EQ(said([&] { EXPECT_FALSE(in.report()); }),
              "malformed bunch file a.lpb: predictor 5, "
              "value 3: \"" +
                  shown + "\" " + reason + '\n');
  };
  for (const char* const token : {"12abc", "1,5", "--5", "+-5", "0x10"}) {
    expectFault(token, false, none);
    expectFault(token, true, none);
  }
  expectFault("1.5", false, none);
  expectFault("2147483648", false, large);
  expectFault("-1e999", true, large);
  expectFault("1e-999x", true, none);
  expectFault('0' + std::string(330, '9'), true, large);
  expectFault(std::string(500, '0'), true, none);
}

}  // namespace
