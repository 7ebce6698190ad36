#include "builder/cell_weights.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/small_mesh.h"

namespace velko {
namespace {

using test::mesh_with;
using test::numbers;
using testing::Each;

survey_state survey_at(const numbers& xs, const numbers& ys, const numbers& zs) {
  survey_state s;
  s.ndata = static_cast<i4>(xs.size());
  s.xobs = owned_array1<r8>(xs);
  s.yobs = owned_array1<r8>(ys);
  s.zobs = owned_array1<r8>(zs);
  return s;
}

numbers weights(const mesh_state& m, const survey_state& s, const weighting& w) {
  const owned_array1<r8> wtz = cell_weights(m, s, w);
  return {wtz.begin(), wtz.end()};
}

numbers as_floats(const numbers& values) {
  numbers rounded;
  for (const r8 v : values) rounded.push_back(static_cast<r4>(v));
  return rounded;
}

/// Two columns, 10 x 10, with cells 2, 4 and 6 high from the elevation 12 down; the first cell of the second is air.
mesh_state two_columns() {
  mesh_state m = mesh_with({0, 10, 20}, {0, 10}, {12, 10, 6, 0});
  m.itop(1, 2) = 1;
  return m;
}

TEST(CellWeights, NoneAreAllOne) {
  const numbers w = weights(two_columns(), survey_at({5}, {5}, {20}), {});
  EXPECT_EQ(w.size(), 5u);
  EXPECT_THAT(w, Each(1.0));
}

TEST(CellWeights, DepthCountsFromTheSurfaceOfTheColumn) {
  const numbers w =
      weights(two_columns(), survey_at({5}, {5}, {20}), {.kind = weighting::depth, .beta = 2.0, .z0 = 3.0});
  // Centres are 1, 4, 9 deep in the first column, 2, 7 in the second; 1 is the least.
  EXPECT_EQ(w, as_floats({1.0, 4.0 / 7, 4.0 / 12, 4.0 / 5, 4.0 / 10}));
}

TEST(CellWeights, FallWithHalfTheExponentBeta) {
  const survey_state s = survey_at({5}, {5}, {20});
  const numbers w3 = weights(two_columns(), s, {.kind = weighting::depth, .z0 = 3.0});
  EXPECT_NEAR(w3[2], std::pow(12.0 / 4.0, -1.5), 1e-8);
  EXPECT_THAT(weights(two_columns(), s, {.kind = weighting::depth, .beta = 0.0}), Each(1.0));
}

TEST(CellWeights, MakeUpForTheMeanHeightOfTheData) {
  const survey_state s = survey_at({5, 15}, {5, 5}, {18, 20});  // 6 above 12, 10 above 10
  EXPECT_EQ(mean_height(two_columns(), s), 8.0);
  EXPECT_EQ(weights(two_columns(), s, {.kind = weighting::depth}),
            weights(two_columns(), s, {.kind = weighting::depth, .z0 = 8.0}));
}

TEST(CellWeights, MakeUpForHalfTheTopmostCellAtLeast) {
  const survey_state s = survey_at({5}, {5}, {12.5});
  EXPECT_EQ(weights(two_columns(), s, {.kind = weighting::depth}),
            weights(two_columns(), s, {.kind = weighting::depth, .z0 = 1.0}));
}

TEST(CellWeights, DataBesideTheMeshStandAboveItsNearestColumnAndBuriedOnesOnTheGround) {
  EXPECT_EQ(mean_height(two_columns(), survey_at({-100}, {700}, {20})), 8.0);
  EXPECT_EQ(mean_height(two_columns(), survey_at({100}, {-7}, {20})), 10.0);
  EXPECT_EQ(mean_height(two_columns(), survey_at({5, 5}, {5, 5}, {-30, 20})), 4.0);
}

TEST(CellWeights, VolumeIsItsRootOverTheLeastOfThoseBelowTheSurface) {
  const mesh_state m = two_columns();  // cells of 200, 400, 600 and 400, 600
  EXPECT_EQ(weights(m, survey_at({5}, {5}, {20}), {.kind = weighting::volume}),
            as_floats({1.0, std::sqrt(2.0), std::sqrt(3.0), std::sqrt(2.0), std::sqrt(3.0)}));
  mesh_state deeper = two_columns();
  deeper.itop(1, 1) = 2;
  deeper.itop(1, 2) = 1;
  EXPECT_EQ(weights(deeper, survey_at({5}, {5}, {20}), {.kind = weighting::volume}),
            as_floats({std::sqrt(1.5), 1.0, std::sqrt(1.5)}));
}

TEST(CellWeights, DepthVolumeIsTheProduct) {
  const mesh_state m = two_columns();
  const survey_state s = survey_at({5}, {5}, {20});
  const numbers depth = weights(m, s, {.kind = weighting::depth}),
                volume = weights(m, s, {.kind = weighting::volume}),
                both = weights(m, s, {.kind = weighting::depth_volume});
  for (std::size_t c = 0; c < both.size(); ++c)
    EXPECT_NEAR(both[c], depth[c] * volume[c], 1e-6 * both[c]) << c;
}

TEST(CellWeights, MeshIsPaddedWhereWidthsDiffer) {
  EXPECT_FALSE(is_padded(mesh_with({0, 10, 20}, {0, 10}, {12, 8, 4, 0})));
  EXPECT_FALSE(is_padded(mesh_with({0, 10, 20.005}, {0, 10}, {12, 8, 4, 0})));
  EXPECT_TRUE(is_padded(mesh_with({0, 10, 24}, {0, 10}, {12, 8, 4, 0})));
  EXPECT_TRUE(is_padded(mesh_with({0, 10}, {0, 10, 24}, {12, 8, 4, 0})));
  EXPECT_TRUE(is_padded(mesh_with({0, 10}, {0, 10}, {12, 8, 0})));
}

}  // namespace
}  // namespace velko
