// The seven mappings between the four shapes of a model.
#include "products/model_mapping.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "tests/products/problem.h"

namespace velko::test {
namespace {

class ModelMapping : public products_test {
 public:
  static values to_cube(const values& x, i4 fill = 0) {
    values cube(static_cast<std::size_t>(store.ncube), untouched);
    MODEL_TO_CUBE(x, cube, mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x, store.ncube_z, fill);
    return cube;
  }
  static void from_cube(values& x, const values& cube) {
    CUBE_TO_MODEL(x, cube, mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x, store.ncube_z);
  }
  static values to_below(const values& grid, std::size_t size) {
    values below(size, untouched);
    GRID_TO_BELOW(grid, below);
    return below;
  }
  /// ny 1, nx 2, nz 3 with the first cell of the second column in the air, and the cells in the middle marked.
  static void set_small_problem(i4 middle = 0) {
    set_mesh(1, 2, 3, {0, 1});
    set_cells([middle](i4 k, i4, i4) { return k == 2 ? middle : 1; });  // active: 1, -, 2 and -, -, 3
    set_cube(2, 3, 4);
  }
};

TEST_F(ModelMapping, ExtentsMayBeTheLastNumberOf32Bits) {
  constexpr i4 most = std::numeric_limits<i4>::max();
  MODEL_TO_CUBE({}, {}, 0, 0, 0, most, 0, 0, 0);
  values nothing;
  CUBE_TO_MODEL(nothing, {}, most, 0, 1, 0, 0, 0);
  mesh.ny = most;
  GRID_TO_BELOW({}, nothing);
}

TEST_F(ModelMapping, CubeOfTheMeshSizeWithAllCellsActiveIsAPlainCopyInBothReadings) {
  set_mesh(2, 3, 4);
  set_cells();
  set_cube(2, 3, 4);
  EXPECT_EQ(to_cube(counting(24)), counting(24));
  cells.ncell = 1;  // so that 24 is the full mesh
  EXPECT_EQ(to_cube(counting(24)), counting(24));
}

TEST_F(ModelMapping, ActiveModelIsLaidByCellMapAndTheRestIsZero) {
  set_small_problem();
  EXPECT_EQ(to_cube({10, 20, 30}), (values{10, 0, 20, 0, 0, 0, 30, 0, 0, 0, 0, 0,  //
                                           0,  0, 0,  0, 0, 0, 0,  0, 0, 0, 0, 0}));
}

TEST_F(ModelMapping, NegativeCellsTakeTheFillValueToo) {
  set_small_problem(-1);
  const values cube = to_cube({10, 20, 30});
  EXPECT_EQ(values(cube.begin(), cube.begin() + 8), (values{10, 0, 20, 0, 0, 0, 30, 0}));
}

TEST_F(ModelMapping, FullMeshIsLaidInModelOrderAndOnlyRowsInsideTheMeshConsumeIt) {
  set_mesh(2, 2, 2);
  set_cells([](i4 k, i4, i4) { return k == 1 ? 1 : 0; });
  set_cube(3, 3, 3);
  EXPECT_EQ(to_cube(counting(8)), (values{1, 2, 0, 3, 4, 0, 0, 0, 0,  //
                                          5, 6, 0, 7, 8, 0, 0, 0, 0,  //
                                          0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(ModelMapping, FillOfOneOrMoreIsTheMean) {
  set_small_problem();
  for (const i4 fill : {1, 5}) {
    const values cube = to_cube({10, 20, 60}, fill);
    EXPECT_EQ(values(cube.begin(), cube.begin() + 9), (values{10, 30, 20, 30, 30, 30, 60, 30, 30}));
    EXPECT_EQ(cube.back(), 30);
  }
  const values full = to_cube(counting(6), 1);
  EXPECT_EQ(values(full.begin(), full.begin() + 9), (values{1, 2, 3, 3.5, 4, 5, 6, 3.5, 3.5}));
}

TEST_F(ModelMapping, FillBelowOneIsZero) {
  set_small_problem();
  EXPECT_EQ(to_cube({10, 20, 60}, -1), to_cube({10, 20, 60}, 0));
}

TEST_F(ModelMapping, ActiveReadingWinsWhereBothLengthsAreEqual) {
  set_mesh(1, 1, 3);
  set_cells();
  set_cube(1, 1, 4);
  for (i4 k = 1; k <= 3; ++k) cells.cell_map(k, 1, 1) = 4 - k;
  EXPECT_EQ(to_cube({1, 2, 3}), (values{3, 2, 1, 0}));
}

TEST_F(ModelMapping, NoActiveCellsAndAnEmptyModelFillTheWholeCube) {
  set_mesh(1, 2, 2);
  set_cells([](i4, i4, i4) { return 0; });
  set_cube(2, 2, 2);
  EXPECT_EQ(to_cube({}), values(8, 0.0));
  for (const r8 x : to_cube({}, 1)) EXPECT_TRUE(std::isnan(x));
}

TEST_F(ModelMapping, OtherLengthsStopTheProgram) {
  set_small_problem();
  for (const std::size_t n : {0u, 2u, 4u, 5u, 7u})
    EXPECT_EQ(stop_of([n] { to_cube(values(n)); }), "size(x) /= # of cells") << n;
}

TEST_F(ModelMapping, CubeAndBackGivesEveryActiveValueAndTouchesNothingElse) {
  set_small_problem();
  const values cube = to_cube({10, 20, 30});
  values x(5, untouched);  // longer than ncell
  from_cube(x, cube);
  EXPECT_EQ(x, (values{10, 20, 30, untouched, untouched}));
}

TEST_F(ModelMapping, CubeToModelTakesTheMeshCornerOfTheCube) {
  set_small_problem();
  values x(3, untouched);
  from_cube(x, counting(24));
  EXPECT_EQ(x, (values{1, 3, 7}));
}

TEST_F(ModelMapping, GridToActiveTakesTheActiveCells) {
  set_small_problem();
  values amodel(3, untouched);
  GRID_TO_AMODEL(counting(6), amodel);
  EXPECT_EQ(amodel, (values{1, 3, 6}));
}

TEST_F(ModelMapping, ActiveToGridPutsTheFixedValuesBack) {
  set_mesh(1, 2, 3, {0, 1});
  set_cells([](i4 k, i4 j, i4) { return k == 2 ? (j == 1 ? 0 : -1) : 1; });
  cells.inactive_values = owned_array1<r8>(2);  // the inactive cell, then the one in the air
  cells.inactive_values(1) = 0.5;
  cells.inactive_inf_values = owned_array1<r8>(1);
  cells.inactive_inf_values(1) = -7;
  values grid(6, untouched);
  AMODEL_TO_GRID(values{10, 20, 30}, grid);
  EXPECT_EQ(grid, (values{10, 0.5, 20, 0, -7, 30}));
}

TEST_F(ModelMapping, NegativeCellsAreLookedUpByNumberAndZeroCellsInModelOrder) {
  set_mesh(1, 1, 4);
  set_cells([](i4 k, i4, i4) { return k % 2 == 1 ? -1 : 0; });
  cells.cell_map(1, 1, 1) = -2;
  cells.cell_map(3, 1, 1) = -1;
  cells.inactive_values = owned_array1<r8>(2);
  cells.inactive_inf_values = owned_array1<r8>(2);
  for (i4 n = 1; n <= 2; ++n) {
    cells.inactive_values(n) = n;
    cells.inactive_inf_values(n) = -n;
  }
  values grid(4, untouched);
  AMODEL_TO_GRID(values{}, grid);
  EXPECT_EQ(grid, (values{-2, 1, -1, 2}));
}

TEST_F(ModelMapping, ActiveToGridAndBackGivesTheModel) {
  set_small_problem();
  cells.inactive_values = owned_array1<r8>(3);
  values grid(6), amodel(3);
  AMODEL_TO_GRID(values{10, 20, 30}, grid);
  GRID_TO_AMODEL(grid, amodel);
  EXPECT_EQ(amodel, (values{10, 20, 30}));
}

TEST_F(ModelMapping, ActiveVectorOfAnotherLengthStopsTheGridMappings) {
  set_small_problem();
  values grid(6), two(2), four(4);
  EXPECT_EQ(stop_of([&] { GRID_TO_AMODEL(grid, two); }), "size(amodel) /= ncell");
  EXPECT_EQ(stop_of([&] { GRID_TO_AMODEL(grid, four); }), "size(amodel) /= ncell");
  EXPECT_EQ(stop_of([&] { AMODEL_TO_GRID(two, grid); }), "size(amodel) /= ncell");
  EXPECT_EQ(stop_of([&] { AMODEL_TO_GRID(four, grid); }), "size(amodel) /= ncell");
}

TEST_F(ModelMapping, FixedValuesThatWereNeverStoredStopActiveToGrid) {
  values grid(2, untouched);
  set_mesh(1, 1, 2);
  set_cells([](i4 k, i4, i4) { return k == 1 ? 1 : 0; });
  EXPECT_EQ(stop_of([&] { AMODEL_TO_GRID(values{10}, grid); }), "size(inactive_values) /= ninactive");
  set_cells([](i4 k, i4, i4) { return k == 1 ? 1 : -1; });
  EXPECT_EQ(stop_of([&] { AMODEL_TO_GRID(values{10}, grid); }), "size(inactive_inf_values) /= ninactive_inf");
  EXPECT_EQ(grid, values(2, untouched));
}

TEST_F(ModelMapping, GridToBelowKeepsTheCellsBelowTheSurfaceInModelOrder) {
  set_mesh(2, 2, 3, {0, 1, 2, 3});  // columns (1, 1), (2, 1), (1, 2), (2, 2)
  EXPECT_EQ(to_below(counting(12), 6), (values{1, 2, 3, 6, 8, 9}));
}

TEST_F(ModelMapping, SurfaceAtTheTopMakesSurfaceOrderModelOrder) {
  set_mesh(2, 2, 3, {0, 0, 0, 0});
  EXPECT_EQ(to_below(counting(12), 12), counting(12));
}

TEST_F(ModelMapping, GridToBelowStopsAfterTheWalkUnlessTheOutputIsFilledExactly) {
  set_mesh(2, 2, 3, {0, 1, 2, 3});
  for (const std::size_t n : {0u, 1u, 5u, 7u, 20u})
    EXPECT_EQ(stop_of([n] { to_below(counting(12), n); }), "idx1 /= size(amodel)") << n;
}

TEST_F(ModelMapping, GridToBelowWritesNothingBehindAShortOutput) {
  set_mesh(2, 2, 3, {0, 1, 2, 3});
  values out(10, untouched);
  EXPECT_EQ(stop_of([&] { GRID_TO_BELOW(counting(12), std::span(out).first(4)); }), "idx1 /= size(amodel)");
  EXPECT_EQ(values(out.begin() + 4, out.end()), values(6, untouched));
}

TEST_F(ModelMapping, GridToBelowOfNoColumnsStopsUnlessTheOutputIsEmpty) {
  set_mesh(0, 2, 3);
  EXPECT_EQ(stop_of([] { to_below({}, 0); }), "(done)");
  EXPECT_EQ(stop_of([] { to_below({}, 1); }), "idx1 /= size(amodel)");
}

TEST_F(ModelMapping, ColumnWhollyInTheAirConsumesNothing) {
  set_mesh(1, 3, 2, {0, 2, 0});
  set_cells();
  values m2(4, untouched);
  BELOW_TO_ACTIVE(counting(4), m2);
  EXPECT_EQ(m2, counting(4));
}

TEST_F(ModelMapping, BelowToActiveDropsCellsThatAreNotActive) {
  set_small_problem();
  values m2(3, untouched);
  BELOW_TO_ACTIVE(counting(5), m2);  // below the surface: 1, 2, 3 and 4, 5; the middle ones are not active
  EXPECT_EQ(m2, (values{1, 3, 5}));
}

TEST_F(ModelMapping, ActiveCellAboveTheSurfaceKeepsWhatItsElementHeld) {
  set_small_problem();
  cells.cell_map(1, 2, 1) = 4;
  cells.ncell = 4;
  values m2(4, untouched);
  BELOW_TO_ACTIVE(counting(5), m2);
  EXPECT_EQ(m2, (values{1, 3, 5, untouched}));
}

TEST_F(ModelMapping, ActiveToBelowGivesZeroToCellsThatAreNotActive) {
  set_small_problem(-1);
  values m1(5, untouched);
  ACTIVE_TO_BELOW(values{10, 20, 30}, m1);
  EXPECT_EQ(m1, (values{10, 0, 20, 0, 30}));
}

TEST_F(ModelMapping, BelowAndBackLosesNothingOfActiveCellsBelowTheSurface) {
  set_small_problem();
  values m1(5), m2(3, untouched);
  ACTIVE_TO_BELOW(values{10, 20, 30}, m1);
  BELOW_TO_ACTIVE(m1, m2);
  EXPECT_EQ(m2, (values{10, 20, 30}));
}

TEST_F(ModelMapping, ActiveVectorOfAnotherLengthStopsTheCompactMappings) {
  set_small_problem();
  values m1(5), two(2);
  EXPECT_EQ(stop_of([&] { BELOW_TO_ACTIVE(m1, two); }), "size(m2) /= ncell");
  EXPECT_EQ(stop_of([&] { ACTIVE_TO_BELOW(two, m1); }), "size(m2) /= ncell");
}

TEST_F(ModelMapping, CompactVectorOfAnotherLengthStopsAfterTheWalk) {
  set_small_problem();
  for (const std::size_t n : {0u, 1u, 3u, 4u, 6u, 30u}) {
    values m1(n), m2(3);
    EXPECT_EQ(stop_of([&] { BELOW_TO_ACTIVE(m1, m2); }), "idx1 /= size(m1)") << n;
    EXPECT_EQ(stop_of([&] { ACTIVE_TO_BELOW(m2, m1); }), "idx1 /= size(m1)") << n;
  }
}

TEST_F(ModelMapping, ActiveToBelowWritesNothingBehindAShortOutput) {
  set_small_problem();
  values m1(9, untouched), m2(3);
  EXPECT_EQ(stop_of([&] { ACTIVE_TO_BELOW(m2, std::span(m1).first(4)); }), "idx1 /= size(m1)");
  EXPECT_EQ(values(m1.begin() + 4, m1.end()), values(5, untouched));
}

}  // namespace
}  // namespace velko::test
