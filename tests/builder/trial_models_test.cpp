#include "builder/trial_models.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/small_mesh.h"

namespace velko {
namespace {

using test::numbers;

numbers steps(r8 from, r8 width, int count) {
  numbers nodes;
  for (int n = 0; n <= count; ++n) nodes.push_back(from + width * n);
  return nodes;
}

/// 16 x 16 columns of 10 m, 16 layers of 5 m below an elevation of 20; the western half is 10 m higher.
class TrialModels : public testing::Test {
 protected:
  TrialModels() : m(test::mesh_with(steps(-80, 10, 16), steps(-80, 10, 16), steps(20, -5, 16))) {
    for (i4 i = 1; i <= 16; ++i)
      for (i4 j = 9; j <= 16; ++j) m.itop(i, j) = 2;
    s.ndata = 2;
    s.xobs = owned_array1<r8>(numbers{-80, 80});
    s.yobs = owned_array1<r8>(numbers{-80, 80});
    s.zobs = owned_array1<r8>(numbers{30, 30});
  }
  std::vector<r8> column(std::string_view model, i4 i, i4 j) const {
    const auto number = std::ranges::find(trial_models::names, model) - trial_models::names.begin();
    std::vector<r8> values(static_cast<std::size_t>(m.nz - m.itop(i, j)), -1.0);
    trial_models(m, s).fill_column(static_cast<std::size_t>(number), i, j, values);
    return values;
  }
  r8 sum(std::string_view model) const {
    r8 all = 0;
    for (i4 i = 1; i <= m.ny; ++i)
      for (i4 j = 1; j <= m.nx; ++j)
        for (const r8 v : column(model, i, j)) all += std::abs(v);
    return all;
  }
  mesh_state m;
  survey_state s;
};

TEST_F(TrialModels, UniformGroundIsTheSameEverywhere) {
  EXPECT_EQ(column("uniform ground", 1, 1), std::vector<r8>(16, 0.01));
  EXPECT_EQ(column("uniform ground", 16, 16), std::vector<r8>(14, 0.01));
}

TEST_F(TrialModels, HillsAreWhatLiesAboveTheMedianOfTheSurface) {
  for (i4 j = 9; j <= 12; ++j)
    for (i4 i = 1; i <= 16; ++i) m.itop(i, j) = 3;  // a median of 10, between 20 and 5
  for (i4 i = 1; i <= 16; ++i) m.itop(i, 8) = 2;
  std::vector<r8> expected(16, 0.0);
  expected[0] = expected[1] = 0.01;
  EXPECT_EQ(column("hills", 3, 2), expected);
  EXPECT_EQ(column("hills", 3, 16), std::vector<r8>(14, 0.0));
}

TEST_F(TrialModels, BlocksAreAsDeepAsTheyAreHighAndFourSidesApartWithSignsOfAChessboard) {
  // The stations extend over 160: deep blocks have sides of 40, in the middle and 160 further. Depths are middles of cells of 5.
  const std::vector<r8> inside = column("deep blocks", 9, 8);
  for (std::size_t k = 0; k < inside.size(); ++k)
    EXPECT_EQ(inside[k], k >= 8 ? 0.05 : 0.0) << k;  // 40 to 80 deep
  EXPECT_EQ(column("deep blocks", 9, 6), std::vector<r8>(16, 0.0));
  EXPECT_EQ(column("deep blocks", 6, 8), std::vector<r8>(16, 0.0));
  // Those with sides of 20 stand 80 apart.
  EXPECT_EQ(column("blocks", 8, 8)[4], 0.05);
  EXPECT_EQ(column("blocks", 8, 1)[4], -0.05);
  EXPECT_EQ(column("blocks", 1, 1)[4], 0.05);
  EXPECT_EQ(column("blocks", 5, 1)[4], 0.0);
}

TEST_F(TrialModels, DykeDipsEast) {
  const std::vector<r8> at_outcrop = column("a dyke", 8, 8), east = column("a dyke", 8, 10);
  EXPECT_GT(at_outcrop[0], 0.0);
  EXPECT_EQ(at_outcrop[8], 0.0);
  EXPECT_EQ(east[0], 0.0);
  EXPECT_GT(*std::ranges::max_element(east), 0.0);
}

TEST_F(TrialModels, SmoothGroundChangesByLittleFromCellToCell) {
  const std::vector<r8> a = column("smooth ground", 4, 3), b = column("smooth ground", 4, 4);
  EXPECT_GT(sum("smooth ground"), 0.001 * 16 * 16 * 14);
  for (std::size_t k = 0; k < a.size(); ++k) {
    EXPECT_LE(std::abs(a[k]), 0.01);
    EXPECT_LE(std::abs(a[k] - b[k]), 0.016) << k;
    if (k > 0) EXPECT_LE(std::abs(a[k] - a[k - 1]), 0.008) << k;
  }
}

TEST_F(TrialModels, AllButHillsHaveValuesForASingleDatumOverFlatGroundToo) {
  m.itop = owned_array2<i4>(m.ny, m.nx);
  s.ndata = 1;
  s.xobs = owned_array1<r8>(numbers{3});
  s.yobs = owned_array1<r8>(numbers{-4});
  for (const std::string_view name : trial_models::names) EXPECT_EQ(sum(name) > 0.0, name != "hills") << name;
}

}  // namespace
}  // namespace velko
