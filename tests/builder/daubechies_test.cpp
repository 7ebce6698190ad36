#include "builder/daubechies.h"

#include <gsl/gsl_wavelet.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace velko {
namespace {

class EveryFilter : public testing::TestWithParam<i4> {
 protected:
  const std::vector<r8> h = daubechies_filter(GetParam());
};

TEST_P(EveryFilter, HasTheLengthAskedFor) {
  EXPECT_EQ(h.size(), static_cast<std::size_t>(GetParam()));
}

TEST_P(EveryFilter, SumsToTheRootOfTwo) {
  r8 sum = 0;
  for (const r8 c : h) sum += c;
  EXPECT_NEAR(sum, std::numbers::sqrt2, 1e-15);
}

TEST_P(EveryFilter, IsOrthonormalToItsEvenShifts) {
  for (std::size_t shift = 0; shift < h.size(); shift += 2) {
    r8 product = 0;
    for (std::size_t k = shift; k < h.size(); ++k) product += h[k] * h[k - shift];
    EXPECT_NEAR(product, shift == 0 ? 1.0 : 0.0, 1e-15) << shift;
  }
}

/// The high-pass filter, reversed with alternating sign, is blind to polynomials below degree n/2.
TEST_P(EveryFilter, HasHalfAsManyVanishingMomentsAsCoefficients) {
  for (i4 degree = 0; degree < GetParam() / 2; ++degree) {
    r8 moment = 0, size = 0;
    for (std::size_t k = 0; k < h.size(); ++k) {
      const r8 term = (k % 2 == 0 ? 1 : -1) * h[k] * std::pow(static_cast<r8>(k), degree);
      moment += term;
      size += std::abs(term);
    }
    EXPECT_NEAR(moment, 0.0, 1e-14 * size) << degree;
  }
}

INSTANTIATE_TEST_SUITE_P(Daubechies, EveryFilter, testing::Values(2, 4, 6, 8, 10, 12));

TEST(Daubechies, TwoCoefficientsAreHaar) {
  EXPECT_EQ(daubechies_filter(2), (std::vector<r8>{std::numbers::sqrt2 / 2, std::numbers::sqrt2 / 2}));
}

TEST(Daubechies, FourCoefficientsHaveTheirClosedForm) {
  const r8 s = std::sqrt(3.0), norm = 4 * std::numbers::sqrt2;
  const std::vector<r8> expected{(1 + s) / norm, (3 + s) / norm, (3 - s) / norm, (1 - s) / norm};
  const std::vector<r8> h = daubechies_filter(4);
  for (std::size_t k = 0; k < 4; ++k)
    EXPECT_NEAR(h[k], expected[k], 4e-16) << k;  // two units in the last place
}

/// GSL lists them to 15 or 16 digits.
TEST(Daubechies, CoefficientsAreThoseThatGslLists) {
  for (const i4 n : {4, 6, 8, 10, 12}) {
    gsl_wavelet* judge = gsl_wavelet_alloc(gsl_wavelet_daubechies, static_cast<std::size_t>(n));
    ASSERT_NE(judge, nullptr);
    const std::vector<r8> h = daubechies_filter(n);
    ASSERT_EQ(judge->nc, h.size());
    for (std::size_t k = 0; k < h.size(); ++k) EXPECT_NEAR(h[k], judge->h1[k], 1e-13) << n << " " << k;
    gsl_wavelet_free(judge);
  }
}

}  // namespace
}  // namespace velko
