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

/// One line in which all coefficients matter the same.
importance equal_factors(std::size_t count) {
  return importance(std::vector<r8>(count, 1.0), {1.0}, {1.0});
}

/// Offers coefficients of a plane, or of several, eight lines along y at a time.
void offer_all(coefficient_selection& selection, const std::vector<r8>& coefficients, std::size_t plane) {
  const std::size_t planes = coefficients.size() / plane;
  for (std::size_t first = 0; first < plane; first += lines_of_batch) {
    std::vector<r8> batch(lines_of_batch * planes);
    for (std::size_t n = 0; n < planes; ++n)
      for (std::size_t lane = 0; lane < lines_of_batch && first + lane < plane; ++lane)
        batch[lines_of_batch * n + lane] = coefficients[plane * n + first + lane];
    selection.offer(first, batch);
  }
}

std::vector<i4> chosen(coefficient_selection& selection, const std::vector<r8>& coefficients,
                       const importance& factors, r8 budget) {
  selection.begin(budget);
  offer_all(selection, coefficients, factors.plane());
  const compressed_row kept = selection.choose();
  for (std::size_t n = 0; n < kept.idx.size(); ++n)
    EXPECT_EQ(kept.values[n], coefficients[static_cast<std::size_t>(kept.idx[n]) - 1]);
  return {kept.idx.begin(), kept.idx.end()};
}

std::vector<i4> chosen(const std::vector<r8>& coefficients, r8 tolerance) {
  const importance factors = equal_factors(coefficients.size());
  coefficient_selection selection(factors);
  return chosen(selection, coefficients, factors, tolerance * tolerance * energy_of(coefficients));
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
  const importance factors = equal_factors(3);
  coefficient_selection selection(factors);
  chosen(selection, {5, 4, 3}, factors, 0);
  EXPECT_THAT(chosen(selection, {0, 7, 0}, factors, 0), ElementsAre(2));
}

TEST(CoefficientSelection, DiscardsFirstWhatMattersLeast) {
  const importance factors({1.0, 9.0}, {1.0, 2.0}, {1.0});
  coefficient_selection selection(factors);
  // Energies 16, 4, 9, 1 matter as 16, 36, 18, 18; of the last two the one with the higher place goes first.
  const std::vector<r8> coefficients{4, 2, 3, -1};
  EXPECT_THAT(chosen(selection, coefficients, factors, 15.9), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(chosen(selection, coefficients, factors, 16), ElementsAre(2, 3, 4));
  EXPECT_THAT(chosen(selection, coefficients, factors, 17), ElementsAre(2, 3));
  EXPECT_THAT(chosen(selection, coefficients, factors, 26), ElementsAre(2));
  EXPECT_THAT(chosen(selection, coefficients, factors, 30), IsEmpty());
}

/// Two lines of two, with factors along y too: 4 of energy matter as 4 and 12, 9 as 18 and 54.
TEST(CoefficientSelection, KnowsThePlanesApart) {
  const importance factors({1.0}, {1.0, 2.0}, {1.0, 3.0});
  coefficient_selection selection(factors);
  const std::vector<r8> coefficients{2, 3, -2, -3};
  EXPECT_THAT(chosen(selection, coefficients, factors, 4), ElementsAre(2, 3, 4));
  EXPECT_THAT(chosen(selection, coefficients, factors, 8), ElementsAre(2, 4));
  EXPECT_THAT(chosen(selection, coefficients, factors, 17), ElementsAre(4));
}

TEST(CoefficientSelection, SettlesLinesWhoseEnergyIsTooSmallForAnyCoefficientToStay) {
  const importance factors(std::vector<r8>(16, 1.0), {1.0}, {4.0, 1.0});
  coefficient_selection selection(factors);
  const std::vector<r8> large(16, 3.0);
  selection.begin(32.0);  // 1 for each coefficient
  const r8x8 just = r8x8{} + 0.25, more = r8x8{0, 0, 0, 0.2501, 0, 0, 0, 0};
  EXPECT_TRUE(selection.settles(8, just));
  EXPECT_FALSE(selection.settles(0, more));
  selection.offer(0, large);  // 16 energies of 9 and 2 settled: 3 may go
  EXPECT_EQ(selection.choose().idx.size(), 13u);
}

/// Bits: the scan is compiled for each of them.
TEST(CoefficientSelection, IsTheSameForEverySetOfInstructions) {
  std::mt19937 random(9);
  std::normal_distribution<r8> normal;
  const importance factors({.y = 16, .x = 4, .z = 16});
  std::vector<r8> coefficients(16 * 4 * 16);
  for (r8& c : coefficients) c = normal(random) * std::exp(4 * normal(random));
  const r8 budget = 1e-4 * energy_of(coefficients);
  coefficient_selection plain(factors, instruction_set::sse2);
  const std::vector<i4> expected = chosen(plain, coefficients, factors, budget);
  EXPECT_GT(expected.size(), 10u);
  for (const instruction_set set : all_instruction_sets) {
    if (!machine_has(set)) continue;
    coefficient_selection selection(factors, set);
    EXPECT_EQ(chosen(selection, coefficients, factors, budget), expected) << name_of(set);
  }
}

/// 8 x 4 x 2: along z the first two positions span 4 cells, the details 4 and 2; the other axes are not transformed.
TEST(Importance, IsTheSquareRootOfTheCellsThatAWaveletSpans) {
  const importance factors({.y = 2, .x = 4, .z = 8});
  EXPECT_EQ(factors.plane(), 32u);
  for (const i4 line : {0, 5}) {
    for (const i4 smooth : {1, 2}) EXPECT_EQ(factors.at(8 * line + smooth), 2.0);
    for (const i4 broad : {3, 4}) EXPECT_EQ(factors.at(8 * line + broad), 2.0);
    for (const i4 fine : {5, 6, 7, 8}) EXPECT_EQ(factors.at(8 * line + fine), std::sqrt(2.0));
  }
  EXPECT_EQ(importance({.y = 16, .x = 8, .z = 8}).at(1), std::sqrt(8.0) * 2.0 * 2.0);
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

/// Row and cube, brought back without a loss.
std::vector<r8> restored(row_compressor& compressor, const compressed_row& kept, std::size_t cells_in_row) {
  std::vector<r8> row(cells_in_row);
  compressor.restore(kept, [&](std::size_t place, std::span<const r8> below) {
    std::ranges::copy(below, row.begin() + static_cast<std::ptrdiff_t>(place));
  });
  return row;
}

/// All coefficients, those that are not kept as 0.
std::vector<r8> cube_of(const compressed_row& kept, const cube_size& n) {
  std::vector<r8> cube(static_cast<std::size_t>(n.y * n.x * n.z));
  for (std::size_t k = 0; k < kept.idx.size(); ++k)
    cube[static_cast<std::size_t>(kept.idx[k]) - 1] = kept.values[k];
  return cube;
}

/// 3 x 2 x 3 cells in a cube of 4 x 2 x 4, along whose axes there is no transform: it shows what it was filled with.
class UntransformedCube : public testing::Test {
 protected:
  UntransformedCube() { SET_WTN_FILTER(daubechies_filter(4), 4); }
  std::vector<r8> cube_of(const std::vector<r8>& row) const {
    row_compressor compressor(m, cube_around(m.ny, m.nx, m.nz));
    compressor.lay_all(row);
    return velko::cube_of(compressor.choose(0), cube_around(m.ny, m.nx, m.nz));
  }
  mesh_state m = test::mesh_with({0, 1, 2, 3}, {0, 1, 2}, {0, -1, -2, -3});
};

TEST_F(UntransformedCube, HoldsTheRowInItsLowCornerAndZerosBeyond) {
  std::vector<r8> row;
  for (int c = 1; c <= 18; ++c) row.push_back(c);
  const std::vector<r8> cube = cube_of(row);
  ASSERT_EQ(cube.size(), 32u);
  std::size_t cell = 0;
  for (std::size_t i = 0; i < 2; ++i)
    for (std::size_t j = 0; j < 4; ++j)
      for (std::size_t k = 0; k < 4; ++k)
        EXPECT_EQ(cube[k + 4 * j + 16 * i], j < 3 && k < 3 ? row[cell++] : 0.0);
}

TEST_F(UntransformedCube, RepeatsTheTopmostValueInTheAir) {
  m.itop(1, 2) = 2;
  m.itop(2, 3) = 3;  // no cell below the surface
  std::vector<r8> row;
  for (int c = 1; c <= 13; ++c) row.push_back(c);
  const std::vector<r8> cube = cube_of(row);
  EXPECT_THAT(std::vector<r8>(cube.begin() + 4, cube.begin() + 8), ElementsAre(4, 4, 4, 0));
  EXPECT_THAT(std::vector<r8>(cube.begin() + 24, cube.begin() + 28), ElementsAre(0, 0, 0, 0));
}

/// 5 x 9 x 6 cells in a cube of 8 x 16 x 8 with hills.
mesh_state hilly_mesh() {
  mesh_state m =
      test::mesh_with({0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, -1, -2, -3, -4, -5, -6});
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) m.itop(i, j) = (2 * i + j) % 4;
  return m;
}

std::vector<r8> random_values(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<r8> normal;
  std::vector<r8> values(count);
  for (r8& v : values) v = normal(random) * std::exp(normal(random));
  return values;
}

std::size_t columns_of_hilly(const mesh_state& m) {
  std::size_t count = 0;
  for (const i4 itop : m.itop.elements()) count += static_cast<std::size_t>(m.nz - itop);
  return count;
}

/// The transform as the documentation tells it: the cube filled first, then WTN.
std::vector<r8> filled_and_transformed(const mesh_state& m, const std::vector<r8>& row) {
  const cube_size n = cube_around(m.ny, m.nx, m.nz);
  std::vector<r8> cube(static_cast<std::size_t>(n.y * n.x * n.z));
  const auto at = [&](i4 i, i4 j, i4 k) -> r8& {
    return cube[static_cast<std::size_t>(k + n.z * (j + n.x * i))];
  };
  std::size_t cell = 0;
  for (i4 i = 0; i < m.ny; ++i)
    for (i4 j = 0; j < m.nx; ++j) {
      const i4 itop = m.itop(i + 1, j + 1);
      for (i4 k = 0; k < m.nz; ++k)
        at(i, j, k) = row[k < itop ? cell : cell + static_cast<std::size_t>(k - itop)];
      cell += static_cast<std::size_t>(m.nz - itop);
      for (i4 k = m.nz; k < n.z; ++k)
        at(i, j, k) = std::lerp(at(i, j, m.nz - 1), at(i, j, 0), (k - m.nz + 1.0) / (n.z - m.nz + 1));
    }
  for (i4 k = 0; k < n.z; ++k) {
    for (i4 i = 0; i < m.ny; ++i)
      for (i4 j = m.nx; j < n.x; ++j)
        at(i, j, k) = std::lerp(at(i, m.nx - 1, k), at(i, 0, k), (j - m.nx + 1.0) / (n.x - m.nx + 1));
    for (i4 j = 0; j < n.x; ++j)
      for (i4 i = m.ny; i < n.y; ++i)
        at(i, j, k) = std::lerp(at(m.ny - 1, j, k), at(0, j, k), (i - m.ny + 1.0) / (n.y - m.ny + 1));
  }
  WTN(cube, {n.z, n.x, n.y}, 1);
  return cube;
}

TEST(RowCompressor, TransformsTheRowThatRunsOnThroughTheAirAndRoundTheCube) {
  SET_WTN_FILTER(daubechies_filter(6), 6);
  const mesh_state m = hilly_mesh();
  const std::vector<r8> row = random_values(columns_of_hilly(m), 3);
  row_compressor compressor(m, cube_around(m.ny, m.nx, m.nz));
  compressor.lay_all(row);
  const std::vector<r8> coefficients = cube_of(compressor.choose(0), cube_around(m.ny, m.nx, m.nz));
  const std::vector<r8> expected = filled_and_transformed(m, row);
  ASSERT_EQ(coefficients.size(), expected.size());
  for (std::size_t p = 0; p < expected.size(); ++p) EXPECT_NEAR(coefficients[p], expected[p], 1e-12) << p;
}

TEST(RowCompressor, GivesTheRowBackThatTheKeptCoefficientsStandFor) {
  const mesh_state m = hilly_mesh();
  const std::vector<r8> row = random_values(columns_of_hilly(m), 5);
  const cube_size n = cube_around(m.ny, m.nx, m.nz);
  for (const i4 length : {2, 4, 12})
    for (const r8 tolerance : {0.0, 1e-2, 0.3, 1.0}) {
      SET_WTN_FILTER(daubechies_filter(length), length);
      row_compressor compressor(m, n);
      compressor.lay_all(row);
      const compressed_row chosen = compressor.choose(tolerance * tolerance * energy_of(row));
      std::vector<r8> cube = cube_of(chosen, n);
      for (r8& c : cube) c = static_cast<r4>(c);
      WTN(cube, {n.z, n.x, n.y}, -1);
      const std::vector<r8> back = restored(compressor, chosen, row.size());
      std::size_t cell = 0;
      for (i4 i = 0; i < m.ny; ++i)
        for (i4 j = 0; j < m.nx; ++j)
          for (i4 k = m.itop(i + 1, j + 1); k < m.nz; ++k, ++cell)
            EXPECT_NEAR(back[cell], cube[static_cast<std::size_t>(k + n.z * (j + n.x * i))], 1e-12);
      std::vector<r8> lost = row;
      for (std::size_t c = 0; c < row.size(); ++c) lost[c] -= back[c];
      EXPECT_LE(std::sqrt(energy_of(lost)), (tolerance + 1e-6) * std::sqrt(energy_of(row)));
    }
}

/// The model is 0 in the air and beyond the mesh, as every product lays it.
TEST(RowCompressor, ProductWithATransformedModelIsWithinTheTolerance) {
  const mesh_state m = hilly_mesh();
  const cube_size n = cube_around(m.ny, m.nx, m.nz);
  const std::vector<r8> row = random_values(columns_of_hilly(m), 7), model = random_values(row.size(), 8);
  std::vector<r8> laid(static_cast<std::size_t>(n.y * n.x * n.z));
  std::size_t cell = 0;
  for (i4 i = 0; i < m.ny; ++i)
    for (i4 j = 0; j < m.nx; ++j)
      for (i4 k = m.itop(i + 1, j + 1); k < m.nz; ++k)
        laid[static_cast<std::size_t>(k + n.z * (j + n.x * i))] = model[cell++];
  for (const i4 length : {2, 4, 6, 8, 10, 12}) {
    SET_WTN_FILTER(daubechies_filter(length), length);
    std::vector<r8> transformed = laid;
    WTN(transformed, {n.z, n.x, n.y}, 1);
    for (const r8 tolerance : {0.0, 1e-3, 0.1}) {
      row_compressor compressor(m, n);
      compressor.lay_all(row);
      const compressed_row kept = compressor.choose(tolerance * tolerance * energy_of(row));
      const r8 product = scalar_product(cube_of(kept, n), transformed);
      EXPECT_NEAR(product, scalar_product(row, model),
                  (tolerance + 1e-13) * std::sqrt(energy_of(row) * energy_of(model)))
          << length << " " << tolerance;
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
