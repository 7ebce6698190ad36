#include "text/significant_digits.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <string>

namespace velko {

bool operator==(const significant_digits& a, const significant_digits& b) {
  return a.digits == b.digits && a.exponent == b.exponent;
}
std::ostream& operator<<(std::ostream& out, const significant_digits& d) {
  return out << d.digits << ", first digit worth 1e" << d.exponent;
}

namespace {

using digits = significant_digits;

/// The judge: the library's digits, in a text.
digits by_to_chars(r8 value, int count) {
  std::array<char, 40> text{};
  std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific, count - 1);
  std::string mantissa(text.data());
  const std::size_t letter = mantissa.find('e');
  const int exponent = std::stoi(mantissa.substr(letter + 1));
  mantissa.resize(letter);
  std::erase(mantissa, '.');
  return {std::stoull(mantissa), exponent};
}

/// All counts of digits agree with the judge; gives back how many of them were told.
int compare(r8 value) {
  int told = 0;
  for (int count = 1; count <= 15; ++count)
    if (const auto ours = exact_digits(value, count)) {
      EXPECT_EQ(*ours, by_to_chars(value, count)) << value << " to " << count;
      ++told;
    }
  return told;
}

TEST(SignificantDigits, FirstDigitsAndWhatTheFirstOfThemIsWorth) {
  EXPECT_EQ(exact_digits(1250, 4), (digits{1250, 3}));
  EXPECT_EQ(exact_digits(0.00341, 3), (digits{341, -3}));
  EXPECT_EQ(exact_digits(7, 1), (digits{7, 0}));
}

TEST(SignificantDigits, TieGoesToEvenAndTheExactValueDecides) {
  EXPECT_EQ(exact_digits(0.125, 2), (digits{12, -1}));
  EXPECT_EQ(exact_digits(0.375, 2), (digits{38, -1}));
  EXPECT_EQ(exact_digits(2.675, 3), (digits{267, 0}));  // the r8 lies below 2.675
}

TEST(SignificantDigits, RoundingUpToTheNextPowerOfTenRaisesTheExponent) {
  EXPECT_EQ(exact_digits(9.9999999, 7), (digits{1000000, 1}));
  EXPECT_EQ(exact_digits(0.99, 1), (digits{1, 0}));
}

TEST(SignificantDigits, NumbersOfSurveysAreTold) {
  for (const r8 value : {1e-17, 1e-9, 0.5, 1.0, 54321.0, 6543210.25, 9999999999.0})
    EXPECT_TRUE(exact_digits(value, 10)) << value;
  for (const r8 value : {1e-20, 1e-9, 0.5, 54321.0, 9999999.0}) EXPECT_TRUE(exact_digits(value, 7)) << value;
}

TEST(SignificantDigits, OthersAreNot) {
  using limits = std::numeric_limits<r8>;
  for (const r8 value : {0.0, -0.0, -1.0, limits::denorm_min(), limits::min(), limits::max(),
                         limits::infinity(), limits::quiet_NaN(), 1e11, 1e-20})
    EXPECT_FALSE(exact_digits(value, 10)) << value;
}

TEST(SignificantDigits, AgreeWithTheLibraryBesideEveryPowerOfTen) {
  int told = 0;
  for (int exponent = -30; exponent <= 20; ++exponent) {
    const r8 power = std::pow(10.0, exponent);
    for (const r8 factor : {1.0, 5.0, 9.5, 9.9999995, 9.9999999995})
      for (const r8 value :
           {power * factor, std::nextafter(power * factor, 0), std::nextafter(power * factor, 1e300)})
        told += compare(value);
  }
  EXPECT_GT(told, 6000);
}

TEST(SignificantDigits, AgreeWithTheLibraryOnEveryMagnitude) {
  std::mt19937_64 random(3);
  int told = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t near_one = std::uint64_t{1023 - 70 + random() % 120} << 52;
    told += compare(std::bit_cast<r8>(near_one | random() >> 12));
  }
  EXPECT_GT(told, 150000);
}

TEST(SignificantDigits, AgreeWithTheLibraryOnTies) {
  for (std::uint64_t odd = 1; odd < 4000; odd += 2)
    for (int bits = 1; bits <= 20; ++bits) compare(std::ldexp(static_cast<r8>(odd), -bits));
}

}  // namespace
}  // namespace velko
