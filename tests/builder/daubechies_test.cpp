#include "builder/daubechies.h"

#include <gsl/gsl_wavelet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace velko {
namespace {

class EveryFilter : public testing::TestWithParam<std::string> {
 protected:
  const i4 length = GetParam() == "haar" ? 2 : std::stoi(GetParam().substr(1));
  const std::vector<r8> h = wavelet_filter(GetParam());
};

TEST_P(EveryFilter, HasTheLengthAskedFor) {
  EXPECT_EQ(h.size(), static_cast<std::size_t>(length));
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
  for (i4 degree = 0; degree < length / 2; ++degree) {
    r8 moment = 0, size = 0;
    for (std::size_t k = 0; k < h.size(); ++k) {
      const r8 term = (k % 2 == 0 ? 1 : -1) * h[k] * std::pow(static_cast<r8>(k), degree);
      moment += term;
      size += std::abs(term);
    }
    EXPECT_NEAR(moment, 0.0, 1e-14 * size) << degree;
  }
}

INSTANTIATE_TEST_SUITE_P(Daubechies, EveryFilter,
                         testing::Values("haar", "d4", "d6", "d8", "d10", "d12", "s8", "s10", "s12"));

TEST(Symlets, OfUpToSixCoefficientsAreDaubechiesFilters) {
  for (const i4 n : {2, 4, 6}) EXPECT_EQ(symlet_filter(n), daubechies_filter(n)) << n;
}

r8 asymmetry(const std::vector<r8>& h) {
  r8 largest = 0;
  for (std::size_t shift = 0; shift < 2 * h.size(); ++shift) {
    r8 product = 0;
    for (std::size_t k = 0; k < h.size(); ++k)
      if (shift >= k && shift - k < h.size()) product += h[k] * h[shift - k];
    largest = std::max(largest, product);
  }
  return 1 - largest;
}

/// Their coefficients are judged by PyWavelets, in judge_sensitivity.py.
TEST(Symlets, AreMoreSymmetricAndHaveTheirEnergyFirst) {
  for (const i4 n : {8, 10, 12}) {
    const std::vector<r8> h = symlet_filter(n);
    EXPECT_LT(asymmetry(h), 0.8 * asymmetry(daubechies_filter(n))) << n;
    r8 centre = 0;
    for (std::size_t k = 0; k < h.size(); ++k) centre += h[k] * h[k] * static_cast<r8>(k);
    EXPECT_LT(centre, (n - 1) / 2.0) << n;
  }
}

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
