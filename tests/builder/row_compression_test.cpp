#include "builder/row_compression.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "builder/daubechies.h"
#include "tests/support/small_mesh.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<i4> chosen(const std::vector<r8>& coefficients, r8 tolerance) {
  coefficient_selection selection;
  const std::span<const i4> kept = selection.choose(coefficients, tolerance);
  return {kept.begin(), kept.end()};
}

TEST(CoefficientSelection, KeepsTheLargestInAscendingOrderOfPosition) {
  EXPECT_THAT(chosen({1e-9, -3, 2e-9, 4, 0}, 1e-3), ElementsAre(2, 4));
}

TEST(CoefficientSelection, WithToleranceZeroKeepsAllButZeros) {
  EXPECT_THAT(chosen({0, 1e-30, -0.0, 5, -1e-100}, 0), ElementsAre(2, 4, 5));
}

TEST(CoefficientSelection, WithToleranceOneKeepsNone) {
  EXPECT_THAT(chosen({1, 2, 3}, 1), IsEmpty());
}

TEST(CoefficientSelection, OfAZeroRowKeepsNone) {
  EXPECT_THAT(chosen({0, 0, 0, 0}, 1e-3), IsEmpty());
}

TEST(CoefficientSelection, OfNothingKeepsNothing) {
  EXPECT_THAT(chosen({}, 1e-3), IsEmpty());
}

/// 3-4-5: 3 carries exactly 0.36 of the energy.
TEST(CoefficientSelection, DiscardsWhatTheToleranceJustAllows) {
  EXPECT_THAT(chosen({3, 4}, 0.6), ElementsAre(2));
  EXPECT_THAT(chosen({3, 4}, 0.5999), ElementsAre(1, 2));
}

TEST(CoefficientSelection, OfEqualMagnitudesKeepsTheFirst) {
  EXPECT_THAT(chosen({-1, 1, 1, -1}, 0.75),
              ElementsAre(1, 2));  // two of four carry half, three more than 0.5625
}

TEST(CoefficientSelection, ForgetsTheRowBefore) {
  coefficient_selection selection;
  selection.choose(std::vector<r8>{5, 4, 3}, 0);
  EXPECT_THAT(selection.choose(std::vector<r8>{0, 7}, 0), ElementsAre(2));
}

/// Random rows whose magnitudes spread over many decades, as those of a real row do.
class RandomRows : public testing::TestWithParam<std::tuple<int, r8>> {};

TEST_P(RandomRows, KeepTheFewestCoefficientsThatTheToleranceAllows) {
  const auto [seed, tolerance] = GetParam();
  std::mt19937 random(static_cast<unsigned>(seed));
  std::normal_distribution<r8> normal;
  std::vector<r8> row(static_cast<std::size_t>(1 + 97 * seed));
  for (r8& c : row) c = normal(random) * std::exp(4 * normal(random));
  const std::vector<i4> kept = chosen(row, tolerance);

  r8 total = 0, retained = 0, least_kept = INFINITY;
  for (const r8 c : row) total += c * c;
  std::vector<r8> rest = row;
  for (const i4 idx : kept) {
    r8& c = rest[static_cast<std::size_t>(idx) - 1];
    retained += c * c;
    least_kept = std::min(least_kept, c * c);
    c = 0;
  }
  r8 discarded = 0, most_discarded = 0;
  for (const r8 c : rest) {
    discarded += c * c;
    most_discarded = std::max(most_discarded, c * c);
  }
  const r8 budget = tolerance * tolerance * total, rounding = 1e-12 * total;
  EXPECT_LE(discarded, budget + 1e-12 * budget);
  if (!kept.empty()) {
    EXPECT_GT(discarded + least_kept, budget);
    EXPECT_LE(most_discarded, least_kept);
  }
  EXPECT_NEAR(retained + discarded, total, rounding);
  EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end()));
}

INSTANTIATE_TEST_SUITE_P(CoefficientSelection, RandomRows,
                         testing::Combine(testing::Range(0, 25),
                                          testing::Values(0.0, 1e-6, 1e-3, 0.03, 0.3)));

TEST(RowCompressor, LaysTheRowInTheLowCornerOfAZeroFilledCube) {
  // Along dimensions of 4 or less there is no transform, so that the cube shows the row itself.
  const mesh_state m = test::mesh_with({0, 1, 2, 3}, {0, 1, 2}, {0, -1, -2, -3});  // nx 3, ny 2, nz 3
  SET_WTN_FILTER(daubechies_filter(4), 4);
  row_compressor compressor(m, cube_around(m.ny, m.nx, m.nz), 0);
  std::vector<r8> row;
  for (int c = 1; c <= 18; ++c) row.push_back(c);
  const compressed_row kept = compressor.compress(row);
  // k + 4 (j - 1) + 16 (i - 1), with a cube of 4 x 4 x 2
  EXPECT_THAT(kept.idx, ElementsAre(1, 2, 3, 5, 6, 7, 9, 10, 11, 17, 18, 19, 21, 22, 23, 25, 26, 27));
  for (std::size_t c = 0; c < 18; ++c)
    EXPECT_EQ(kept.coefficients[static_cast<std::size_t>(kept.idx[c]) - 1], row[c]);
}

TEST(RowCompressor, ProductWithATransformedModelIsWithinTheTolerance) {
  const mesh_state m =
      test::mesh_with({0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, -1, -2, -3, -4, -5, -6});
  const cube_size cube = cube_around(m.ny, m.nx, m.nz);
  std::mt19937 random(7);
  std::normal_distribution<r8> normal;
  std::vector<r8> row(5 * 9 * 6), model(row.size());
  for (r8& g : row) g = normal(random) * std::exp(normal(random));
  for (r8& v : model) v = normal(random);
  r8 exact = 0, row2 = 0, model2 = 0;
  for (std::size_t c = 0; c < row.size(); ++c) {
    exact += row[c] * model[c];
    row2 += row[c] * row[c];
    model2 += model[c] * model[c];
  }
  for (const i4 n : {2, 4, 6, 8, 10, 12}) {
    SET_WTN_FILTER(daubechies_filter(n), n);
    for (const r8 tolerance : {0.0, 1e-3, 0.1}) {
      row_compressor compressor(m, cube, tolerance), transformer(m, cube, 0);
      const compressed_row kept = compressor.compress(row), transformed = transformer.compress(model);
      r8 product = 0;
      for (const i4 idx : kept.idx) {
        const auto at = static_cast<std::size_t>(idx) - 1;
        product += kept.coefficients[at] * transformed.coefficients[at];
      }
      EXPECT_NEAR(product, exact, (tolerance + 1e-14) * std::sqrt(row2 * model2)) << n << " " << tolerance;
    }
  }
}

TEST(CubeSize, IsTheSmallestPowerOfTwoThatHoldsEachCount) {
  const cube_size cube = cube_around(1, 32, 33);
  EXPECT_EQ(cube.y, 1);
  EXPECT_EQ(cube.x, 32);
  EXPECT_EQ(cube.z, 64);
}

}  // namespace
}  // namespace velko
