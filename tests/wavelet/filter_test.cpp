// SET_WTN_FILTER: the two filters from the stored coefficients.
#include <gtest/gtest.h>

#include "tests/wavelet/filters.h"

namespace velko::test {
namespace {

values lo() {
  return {wavelet.lo_filter.begin(), wavelet.lo_filter.end()};
}
values hi() {
  return {wavelet.hi_filter.begin(), wavelet.hi_filter.end()};
}

TEST(Filter, LowPassIsTheStoredCoefficients) {
  set_filter({0.5, 0.25, -1, 3});
  EXPECT_EQ(wavelet.filter_len, 4);
  EXPECT_EQ(lo(), (values{0.5, 0.25, -1, 3}));
}

TEST(Filter, HighPassIsReversedWithSignsFromMinusOn) {
  set_filter({1, 2, 3, 4});
  EXPECT_EQ(hi(), (values{4, -3, 2, -1}));
}

TEST(Filter, HighPassOfOddLengthStartsWithMinusTheLastCoefficient) {
  set_filter({1, 2, 3, 4, 5});
  EXPECT_EQ(hi(), (values{-5, 4, -3, 2, -1}));
}

TEST(Filter, OffsetIsMinusHalfTheLength) {
  for (i4 n = 1; n <= 9; ++n) {
    SET_WTN_FILTER(values(static_cast<std::size_t>(n), 1.0), n);
    EXPECT_EQ(wavelet.filter_off, n % 2 == 0 ? -n / 2 : -(n - 1) / 2) << n;
  }
}

TEST(Filter, OfTwoElementsHasOffsetMinusOne) {
  set_filter(haar);
  EXPECT_EQ(wavelet.filter_off, -1);
}

TEST(Filter, TakesTheLeadingCoefficientsOfALongerVector) {
  SET_WTN_FILTER(values{1, 2, 3, 4}, 2);
  EXPECT_EQ(lo(), (values{1, 2}));
  EXPECT_EQ(hi(), (values{2, -1}));
}

TEST(Filter, CanBeSetAgain) {
  set_filter({1, 2, 3, 4});
  set_filter(haar);
  EXPECT_EQ(lo(), haar);
  EXPECT_EQ(wavelet.filter_len, 2);
}

TEST(Filter, IsForgottenByReset) {
  set_filter(haar);
  reset_WTN_MOD();
  EXPECT_EQ(wavelet.filter_len, 0);
  EXPECT_EQ(wavelet.filter_off, 0);
  EXPECT_EQ(wavelet.lo_filter.size(), 0);
  EXPECT_EQ(wavelet.hi_filter.size(), 0);
}

}  // namespace
}  // namespace velko::test
