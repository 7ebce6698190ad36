// PWT: one step of the periodic pyramid.
#include <gtest/gtest.h>

#include "tests/wavelet/filters.h"
#include "tests/wavelet/plain_transform.h"

namespace velko::test {
namespace {

// A step is a sum of filter_len products per element, of coefficients below 1: some eps times the norm of the line.
constexpr r8 rounding = 1e-14;

values stepped(values a, bool forward) {
  PWT(a, static_cast<i4>(a.size()), forward);
  return a;
}

values unit(std::size_t n, std::size_t position) {
  values a(n, 0.0);
  a[position - 1] = 1;
  return a;
}

TEST(PWT, HaarStepAndSynthesisGiveTheInputBack) {
  set_filter(haar);
  const values a = random_values(16);
  EXPECT_LT(largest_difference(stepped(stepped(a, true), false), a), rounding);
}

TEST(PWT, FirstPairOfFourCoefficientsCoversPositionsOneToFour) {
  set_filter({1, 2, 3, 4});
  for (std::size_t p = 1; p <= 8; ++p)
    EXPECT_EQ(stepped(unit(8, p), true)[0], p <= 4 ? static_cast<r8>(p) : 0.0) << p;
}

TEST(PWT, LastPairWrapsRoundTheEndOfTheLine) {
  set_filter({1, 2, 3, 4});  // pair h = 3 reads positions 7, 8, 1, 2
  EXPECT_EQ(stepped(unit(8, 7), true)[3], 1);
  EXPECT_EQ(stepped(unit(8, 8), true)[3], 2);
  EXPECT_EQ(stepped(unit(8, 1), true)[3], 3);
  EXPECT_EQ(stepped(unit(8, 2), true)[3], 4);
}

TEST(PWT, SmoothFillsTheFirstHalfAndDetailTheSecond) {
  set_filter(haar);
  const values a = stepped({1, 5, 5, 1, 1, 9, 9, 1}, true);  // pairs (5, 5), (1, 1), (9, 9), (1, 1)
  const r8 s = std::sqrt(2.0);
  EXPECT_LT(largest_difference(a, values{5 * s, s, 9 * s, s, 0, 0, 0, 0}), rounding);
}

TEST(PWT, ConstantVectorHasNoDetailUnderAnOrthonormalFilter) {
  for (std::size_t coefficients = 2; coefficients <= 20; coefficients += 2) {
    set_filter(daubechies(coefficients));
    const values a = stepped(values(32, 3.0), true);
    EXPECT_LT(largest_difference(std::span(a).last(16), values(16, 0.0)), 1e-10) << coefficients;
    EXPECT_LT(largest_difference(std::span(a).first(16), values(16, 3 * std::sqrt(2.0))), 1e-10)
        << coefficients;
  }
}

TEST(PWT, UnnormalisedFilterLeavesTheStepsTransposesOnly) {
  set_filter({1.0, 2.0, 0.5, -3.0, 0.25});
  const values a = random_values(16, 1), b = random_values(16, 2);
  EXPECT_NEAR(dot(stepped(a, true), b), dot(a, stepped(b, false)), 1e-12);
  EXPECT_GT(largest_difference(stepped(stepped(a, true), false), a), 0.1);
}

TEST(PWT, FilterLongerThanTheLineAddsUpWhereItsTurnsMeet) {
  set_filter(daubechies(12));
  // By hand: coefficient k of pair h falls on 2h + k + 1 - 6, modulo 4.
  for (std::size_t p = 0; p < 4; ++p) {
    const values step = stepped(unit(4, p + 1), true);
    for (i4 h = 0; h < 2; ++h) {
      r8 smooth = 0, detail = 0;
      for (i4 k = 1; k <= 12; ++k)
        if (static_cast<std::size_t>((2 * h + k + 1 - 6 + 12) % 4) == p) {
          smooth += wavelet.lo_filter(k);
          detail += wavelet.hi_filter(k);
        }
      EXPECT_NEAR(step[static_cast<std::size_t>(h)], smooth, rounding);
      EXPECT_NEAR(step[static_cast<std::size_t>(h + 2)], detail, rounding);
    }
  }
  const values a = random_values(4);
  EXPECT_LT(largest_difference(stepped(stepped(a, true), false), a),
            1e-10);  // GSL's table has 12 digits or more
}

TEST(PWT, IsTheFormulaToTheLastBitForEveryLengthAndFilter) {
  for (std::size_t length = 1; length <= 13; ++length) {
    set_filter(random_values(length, 7));
    for (std::size_t n = 0; n <= 40; ++n)
      for (const bool forward : {true, false}) {
        values a = random_values(n), b = a;
        PWT(a, static_cast<i4>(n), forward);
        plain_PWT(b, static_cast<i4>(n), forward);
        EXPECT_TRUE(same_bits(a, b)) << "n " << n << " filter " << length << " forward " << forward;
      }
  }
}

TEST(PWT, OddLengthAddsTheLastSmoothToTheFirstDetail) {
  // Each coefficient reads one element: smooth 1 * a, detail -1 * a. The AND with 2 takes the pairs h = 0, 1 to
  // positions 1 and 3.
  set_filter({1.0});
  EXPECT_EQ(stepped({1, 10, 100}, true), (values{1, 100 - 1, -100}));
}

TEST(PWT, NoElementsAreNoWork) {
  set_filter(haar);
  values none;
  PWT(none, 0, true);
  PWT(none, 0, false);
  EXPECT_TRUE(none.empty());
}

TEST(PWT, WithoutAFilterGivesZeros) {
  reset_WTN_MOD();
  EXPECT_EQ(stepped({1, 2, 3, 4}, true), values(4, 0.0));
}

}  // namespace
}  // namespace velko::test
