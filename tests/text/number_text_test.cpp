#include "text/number_text.h"

#include <gmock/gmock.h>
#include <immintrin.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace velko {
namespace {

using limits = std::numeric_limits<r8>;

constexpr r8 untouched = -77;

r8 real(std::string_view text) {
  r8 value = untouched;
  EXPECT_TRUE(is_number(text, value)) << text;
  return value;
}

bool is_real(std::string_view text) {
  r8 value = untouched;
  const bool is = is_number(text, value);
  if (!is) {
    EXPECT_EQ(value, untouched) << text;
  }
  return is;
}

bool is_integer(std::string_view text) {
  i4 value = -77;
  return is_number(text, value);
}

i4 integer(std::string_view text) {
  i4 value = -77;
  EXPECT_TRUE(is_number(text, value)) << text;
  return value;
}

TEST(RealText, HasIntegerDecimalAndExponentForms) {
  EXPECT_EQ(real("5"), 5.0);
  EXPECT_EQ(real("5.0"), 5.0);
  EXPECT_EQ(real("5."), 5.0);
  EXPECT_EQ(real(".5"), 0.5);
  EXPECT_EQ(real("5E2"), 500.0);
  EXPECT_EQ(real("5.0D2"), 500.0);
  EXPECT_EQ(real("5.e-2"), 0.05);
  EXPECT_EQ(real(".5d+02"), 50.0);
}

TEST(RealText, MayHaveASign) {
  EXPECT_EQ(real("-5"), -5.0);
  EXPECT_EQ(real("+.25"), 0.25);
  EXPECT_TRUE(std::signbit(real("-0")));
  EXPECT_FALSE(is_real("+-5"));
  EXPECT_FALSE(is_real("-"));
}

TEST(RealText, SignedExponentNeedsNoLetter) {
  EXPECT_EQ(real("1.5+3"), 1500.0);
  EXPECT_EQ(real("15-1"), 1.5);
  EXPECT_EQ(real("-1+2"), -100.0);
}

TEST(RealText, ExponentNeedsDigits) {
  for (const char* text : {"1e", "1e+", "1d-", "1+", "1.5-", "1e2.0", "1ee2", "1q2", "e5", ".e5"})
    EXPECT_FALSE(is_real(text)) << text;
}

TEST(RealText, NeedsADigit) {
  for (const char* text : {"", ".", "+", "+.", "abc", "!", "0x10", "1,", "1 ", " 1", "1..2", "1.2.3", "--1"})
    EXPECT_FALSE(is_real(text)) << text;
}

TEST(RealText, WordsForInfinityAndNotANumberAreKnownInAnyCase) {
  for (const char* text : {"inf", "INF", "+Inf", "infinity", "INFINITY", "+iNfInItY"})
    EXPECT_EQ(real(text), limits::infinity()) << text;
  for (const char* text : {"-inf", "-Infinity"}) EXPECT_EQ(real(text), -limits::infinity()) << text;
  for (const char* text : {"nan", "NaN", "-nan", "+NAN"}) EXPECT_TRUE(std::isnan(real(text))) << text;
  for (const char* text : {"nan()", "nan(1)", "in", "infi", "infinit", "infinityy", "na", "nann", "- inf"})
    EXPECT_FALSE(is_real(text)) << text;
}

TEST(RealText, BeyondTheLargestIsNoNumber) {
  EXPECT_EQ(real("1.7976931348623157e308"), limits::max());
  for (const char* text :
       {"1e400", "-1e400", "1.7976931348623159e308", "1e309", "1d309", "1e999999999999999999999999"})
    EXPECT_FALSE(is_real(text)) << text;
  EXPECT_FALSE(is_real(std::string(310, '9')));
}

TEST(RealText, TooSmallIsTheDenormalOrZeroNearestToIt) {
  EXPECT_EQ(real("4.9e-324"), limits::denorm_min());
  EXPECT_EQ(real("3e-324"), limits::denorm_min());
  EXPECT_EQ(real("2e-324"), 0.0);
  EXPECT_EQ(real("1e-400"), 0.0);
  EXPECT_EQ(real("1d-400"), 0.0);
  EXPECT_EQ(real("1e-999999999999999999999999"), 0.0);
  EXPECT_EQ(real("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_TRUE(std::signbit(real("-1e-400")));
}

TEST(RealText, ZeroTakesAnyExponent) {
  EXPECT_EQ(real("0e99999999999999999999"), 0.0);
  EXPECT_EQ(real("0.000d-99999999999999999999"), 0.0);
  EXPECT_EQ(real(std::string(5000, '0') + ".0e5000"), 0.0);
}

TEST(RealText, LongExponentsAndLongMantissasBalance) {
  EXPECT_EQ(real("1e00000000000000000000000000005"), 1e5);
  EXPECT_EQ(real("1" + std::string(700000, '0') + "e-700000"), 1.0);
  EXPECT_EQ(real("0." + std::string(700000, '0') + "25d700001"), 2.5);
  EXPECT_EQ(real("." + std::string(30, '0') + "1"), 1e-31);
}

TEST(RealText, DigitBeyondAllTheOthersDecidesATie) {
  // 2^53 + 1 lies halfway between two doubles; ties go to the even one.
  EXPECT_EQ(real("9007199254740993"), 9007199254740992.0);
  EXPECT_EQ(real("9007199254740993." + std::string(2000, '0')), 9007199254740992.0);
  EXPECT_EQ(real("9007199254740993." + std::string(2000, '0') + "1"), 9007199254740994.0);
}

TEST(RealText, ReadsTheSameInFlushToZeroMode) {
  constexpr unsigned flush_to_zero = 0x8000, denormals_are_zero = 0x0040;
  const unsigned control = _mm_getcsr();
  _mm_setcsr(control | flush_to_zero | denormals_are_zero);
  r8 value = 0;
  const bool is = is_number("4.9406564584124654e-310", value);
  _mm_setcsr(control);
  EXPECT_TRUE(is);
  EXPECT_EQ(value, 4.9406564584124654e-310);
}

/// Our own short way and std::from_chars must agree to the bit, for every number of digits and every exponent.
TEST(RealText, AgreesWithTheStandardLibraryOnRandomDecimals) {
  constexpr unsigned seed = 20240611;
  std::mt19937_64 random(seed);
  for (int trial = 0; trial < 200000; ++trial) {
    std::string text = std::to_string(random() >> (random() % 64));
    const std::size_t point = random() % (text.size() + 1);
    text.insert(point, ".");
    if (random() % 2 == 0) text += "e" + std::to_string(static_cast<int>(random() % 80) - 40);
    r8 expected = 0;
    std::from_chars(text.data(), text.data() + text.size(), expected);
    ASSERT_EQ(real(text), expected) << text << ", seed " << seed;
  }
}

TEST(RealText, IsRoundedRightlyWhereDigitsAndPowersOfTenCeaseToBeExact) {
  for (const char* digits :
       {"9007199254740991", "9007199254740992", "9007199254740993", "9007199254740995", "99999999999999999",
        "999999999999999999", "9999999999999999999", "0.1234567890123456", "0.12345678901234567",
        "0.123456789012345678", "18446744073709551616", "1.", ".5"})
    for (const char* exponent :
         {"", "e0", "e5", "e21", "e22", "e23", "e-21", "e-22", "e-23", "e-300", "e+007"}) {
      const std::string text = std::string(digits) + exponent;
      EXPECT_EQ(real(text), std::strtod(text.c_str(), nullptr)) << text;
    }
}

/// Each text alone, and with others behind it that do not belong to it: a number may be taken from more characters than
/// it has.
TEST(RealText, EndsAtTheSamePlaceWhateverStandsBehindIt) {
  for (int digits = 1; digits <= 10; ++digits)
    for (int point = -1; point <= digits; ++point)
      for (const char* exponent : {"", "e3", "D-12", "+4"}) {
        std::string text = std::string("1029384756").substr(0, static_cast<std::size_t>(digits));
        if (point >= 0) text.insert(static_cast<std::size_t>(point), 1, '.');
        text += exponent;
        const r8 alone = real(text);
        for (const std::string behind :
             {" 12345678", "\n.87654321", ",,,,,,,,,,", "\xff\xff\xff\xff\xff\xff\xff\xff\xff", ":;<=>?@AB",
              "/////////", "*87654321", "x.1234567"}) {
          const std::string longer = text + behind;
          r8 value = untouched;
          EXPECT_EQ(read_number(longer.data(), longer.data() + longer.size(), value),
                    longer.data() + text.size())
              << longer;
          EXPECT_EQ(value, alone) << longer;
        }
      }
}

TEST(RealText, SecondPointEndsIt) {
  for (const std::string text : {"1.2.345678", "..12345678", ".1.2345678", "12345.6.78"}) {
    r8 value = untouched;
    const char* end = read_number(text.data(), text.data() + text.size(), value);
    const std::size_t first = text.find('.'), second = text.find('.', first + 1);
    if (second == 1) {
      EXPECT_EQ(end, nullptr) << text;
    } else {
      EXPECT_EQ(end, text.data() + second) << text;
      EXPECT_EQ(value, real(text.substr(0, second))) << text;
    }
  }
}

TEST(IntegerText, HasDigitsAndPerhapsASign) {
  EXPECT_EQ(integer("0"), 0);
  EXPECT_EQ(integer("+17"), 17);
  EXPECT_EQ(integer("-1"), -1);
  EXPECT_EQ(integer("000000000000000000000000000001"), 1);
}

TEST(IntegerText, HasNoPointAndNoExponent) {
  for (const char* text : {"1.0", "1.", "1e2", "1d0", "", "-", "+", "a", "1a", "--1", "inf", "0x1"})
    EXPECT_FALSE(is_integer(text)) << text;
}

TEST(IntegerText, OutsideThirtyTwoBitsIsNoNumber) {
  EXPECT_EQ(integer("2147483647"), 2147483647);
  EXPECT_EQ(integer("-2147483648"), std::numeric_limits<i4>::min());
  for (const char* text : {"2147483648", "-2147483649", "4294967296", "99999999999999999999999999"})
    EXPECT_FALSE(is_integer(text)) << text;
}

}  // namespace
}  // namespace velko
