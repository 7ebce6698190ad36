#include "text/number_layout.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>

namespace velko {
namespace {

std::string integer(i8 value, int width, int digits = 1) {
  std::string line;
  append_integer(line, value, width, digits);
  return line;
}
std::string fixed(r8 value, int width = 10, int decimals = 2) {
  std::string line;
  append_fixed(line, value, width, decimals);
  return line;
}
std::string scientific(r8 value, int width = 14, int decimals = 6) {
  std::string line;
  append_scientific(line, value, width, decimals);
  return line;
}
std::string text(std::string_view value, int width) {
  std::string line;
  append_text(line, value, width);
  return line;
}

constexpr r8 infinity = std::numeric_limits<r8>::infinity();
constexpr r8 not_a_number = std::numeric_limits<r8>::quiet_NaN();

TEST(NumberLayout, AppendsBehindWhatStands) {
  std::string line = "x";
  append_integer(line, 7, 3);
  append_text(line, "ab", 4);
  EXPECT_EQ(line, "x  7  ab");
}

TEST(NumberLayout, IntegersAreRightJustified) {
  EXPECT_EQ(integer(0, 3), "  0");
  EXPECT_EQ(integer(-42, 5), "  -42");
  EXPECT_EQ(integer(999, 3), "999");
}

TEST(NumberLayout, IntegersShowAtLeastTheirDigits) {
  EXPECT_EQ(integer(5, 2, 2), "05");
  EXPECT_EQ(integer(7, 3, 3), "007");
  EXPECT_EQ(integer(-7, 4, 3), "-007");
}

TEST(NumberLayout, TooWideAnIntegerIsARowOfAsterisks) {
  EXPECT_EQ(integer(1000, 3), "***");
  EXPECT_EQ(integer(-100, 3), "***");
  EXPECT_EQ(integer(10000000, 7), "*******");
  EXPECT_EQ(integer(std::numeric_limits<i8>::min(), 20), "-9223372036854775808");
  EXPECT_EQ(integer(std::numeric_limits<i8>::min(), 19), std::string(19, '*'));
}

TEST(NumberLayout, FixedPointHasAZeroInFrontOfThePoint) {
  EXPECT_EQ(fixed(0), "      0.00");
  EXPECT_EQ(fixed(0.5), "      0.50");
  EXPECT_EQ(fixed(-0.5), "     -0.50");
  EXPECT_EQ(fixed(54321), "  54321.00");
}

TEST(NumberLayout, FixedPointRoundsTheExactValue) {
  EXPECT_EQ(fixed(0.125), "      0.12");  // a tie goes to even
  EXPECT_EQ(fixed(0.375), "      0.38");
  EXPECT_EQ(fixed(2.675), "      2.67");  // the r8 lies below 2.675
  EXPECT_EQ(fixed(9.999), "     10.00");
}

TEST(NumberLayout, TooWideAFixedPointIsARowOfAsterisks) {
  EXPECT_EQ(fixed(9999999), "9999999.00");
  EXPECT_EQ(fixed(9999999.996), "**********");
  EXPECT_EQ(fixed(10000000), "**********");
  EXPECT_EQ(fixed(-999999), "-999999.00");
  EXPECT_EQ(fixed(-1000000), "**********");
  EXPECT_EQ(fixed(std::numeric_limits<r8>::max()), "**********");
}

TEST(NumberLayout, ScientificHasOneDigitBeforeThePoint) {
  EXPECT_EQ(scientific(134.72), "  1.347200E+02");
  EXPECT_EQ(scientific(-0.00341), " -3.410000E-03");
  EXPECT_EQ(scientific(1250, 17, 9), "  1.250000000E+03");
  EXPECT_EQ(scientific(-12.5, 12, 4), " -1.2500E+01");
  EXPECT_EQ(scientific(9.9999999), "  1.000000E+01");
}

TEST(NumberLayout, ExponentOfThreeDigitsDropsTheLetter) {
  EXPECT_EQ(scientific(1.23456789e100, 17, 9), "  1.234567890+100");
  EXPECT_EQ(scientific(-1e-100, 17, 9), " -1.000000000-100");
  EXPECT_EQ(scientific(9.9999999e99), "  1.000000+100");
  EXPECT_EQ(scientific(std::numeric_limits<r8>::denorm_min()), "  4.940656-324");
}

TEST(NumberLayout, ScientificShowsTheDigitsOfTheLibraryForEveryNumberOfDecimals) {
  for (int decimals = 1; decimals <= 17; ++decimals)
    for (const r8 value :
         {1.0, -1.0, 0.99999999999999989, -9.9999999999999982, 123456.789, -6543210.25, 1e-17, 1e-18, 1.5e-18,
          2e-19, 9.9999999996e9, 1e10, 3e15, -0.1, 2.5, 1e22, 1.0 / 3}) {
      std::array<char, 64> text{};
      std::snprintf(text.data(), text.size(), "%30.*E", decimals, value);
      EXPECT_EQ(scientific(value, 30, decimals), text.data()) << value << " with " << decimals;
    }
}

TEST(NumberLayout, ZeroHasNoSign) {
  EXPECT_EQ(scientific(0), "  0.000000E+00");
  EXPECT_EQ(scientific(-0.0), "  0.000000E+00");
  EXPECT_EQ(fixed(-0.0), "      0.00");
  EXPECT_EQ(fixed(-0.001), "      0.00");
}

TEST(NumberLayout, ValuesThatAreNotFiniteAreWords) {
  EXPECT_EQ(scientific(not_a_number), "           NaN");
  EXPECT_EQ(scientific(-not_a_number), "           NaN");
  EXPECT_EQ(scientific(infinity), "      Infinity");
  EXPECT_EQ(fixed(-infinity), " -Infinity");
  EXPECT_EQ(fixed(-infinity, 8), "********");
}

TEST(NumberLayout, TextsAreRightJustifiedOrKeepTheirLeftPart) {
  EXPECT_EQ(text("model was set to: ", 20), "  model was set to: ");
  EXPECT_EQ(text("abcdef", 4), "abcd");
  EXPECT_EQ(text("", 3), "   ");
}

TEST(NumberLayout, OnlyBlanksAreTrailingBlanks) {
  EXPECT_EQ(without_trailing_blanks(" a b  "), " a b");
  EXPECT_EQ(without_trailing_blanks("a\t "), "a\t");
  EXPECT_EQ(without_trailing_blanks("   "), "");
  EXPECT_EQ(without_trailing_blanks(""), "");
}

}  // namespace
}  // namespace velko
