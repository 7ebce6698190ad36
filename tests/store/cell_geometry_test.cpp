#include "store/cell_geometry.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "reports/program_stop.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"

namespace velko {
namespace {

constexpr i4 most = std::numeric_limits<i4>::max();

class CellGeometry : public testing::Test {
 protected:
  void SetUp() override {
    mesh.ny = 2;
    mesh.nx = 3;
    mesh.nz = 4;
    mesh.itop = owned_array2<i4>(2, 3);
  }
  static stop_or_done check() {
    return run_until_stop([] { check_cell_geometry(mesh.itop); });
  }
  static stop_or_done stop(const std::string& text) { return {stop_or_done::stopped, text}; }

 private:
  test::fresh_problem problem_;
};

TEST_F(CellGeometry, ColumnsMayBeAllAirOrHaveNone) {
  mesh.itop(1, 1) = 0;
  mesh.itop(2, 3) = 4;
  EXPECT_EQ(check(), stop_or_done{});
}

TEST_F(CellGeometry, SurfaceOutsideTheColumnStops) {
  for (const i4 above : {-1, 5, most, std::numeric_limits<i4>::min()}) {
    mesh.itop(2, 2) = above;
    EXPECT_EQ(check(), stop("itop outside 0..nz")) << above;
  }
}

TEST_F(CellGeometry, SurfaceOfAnotherMeshStops) {
  mesh.itop = owned_array2<i4>(3, 2);
  EXPECT_EQ(check(), stop("size(itop) /= ny x nx"));
}

TEST_F(CellGeometry, CubeMustHoldTheMeshWhenCompressed) {
  store.compressed = true;
  store.ncube_y = 2;
  store.ncube_x = 4;
  store.ncube_z = 4;
  EXPECT_EQ(check(), stop_or_done{});
  store.ncube_z = 3;
  EXPECT_EQ(check(), stop("the cube is smaller than the mesh"));
  store.compressed = false;
  EXPECT_EQ(check(), stop_or_done{});
}

TEST_F(CellGeometry, CubeOfNegativeDimensionsHoldsNoMesh) {
  store.compressed = true;
  store.ncube_y = -2;
  store.ncube_x = -3;
  store.ncube_z = 4;
  EXPECT_EQ(check(), stop("the cube is smaller than the mesh"));
}

TEST_F(CellGeometry, MeshWithoutCellsFitsEveryCube) {
  store.compressed = true;
  for (i4* count : {&mesh.ny, &mesh.nx, &mesh.nz})
    for (const i4 below_1 : {0, -1, std::numeric_limits<i4>::min()}) {
      const i4 before = std::exchange(*count, below_1);
      mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);
      EXPECT_EQ(check(), stop_or_done{}) << mesh.ny << ' ' << mesh.nx << ' ' << mesh.nz;
      *count = before;
    }
}

TEST_F(CellGeometry, MeshOfMoreCellsThanAnIndexCountsStops) {
  mesh.nz = most / 6 + 1;
  EXPECT_EQ(check(), stop("ny x nx x nz beyond 32 bits"));
  mesh.nz = most / 6;
  EXPECT_EQ(check(), stop_or_done{});
}

TEST_F(CellGeometry, MeshWithoutCellsFits) {
  mesh.nz = -2;
  EXPECT_EQ(check(), stop_or_done{});
  mesh.ny = -3;
  mesh.itop = {};
  mesh.itop = owned_array2<i4>(-3, 3);
  EXPECT_EQ(check(), stop_or_done{});
}

TEST(Products, OfCountsWrapAsTheStoreKeepsThem) {
  EXPECT_EQ(wrapped_product(8, 16, 32), 4096);
  EXPECT_EQ(wrapped_product(1 << 16, 1 << 16, 1), 0);
  EXPECT_EQ(wrapped_product(1 << 16, 1 << 15, 1), std::numeric_limits<i4>::min());
  EXPECT_EQ(wrapped_product(-2, 3, 4), -24);
}

TEST(Products, OfCountsFitUpToTheLastIndex) {
  EXPECT_TRUE(product_fits(most, 1, 1));
  EXPECT_FALSE(product_fits(1 << 16, 1 << 15, 1));
  EXPECT_FALSE(product_fits(most, most, most));
  EXPECT_TRUE(product_fits(most, most, 0));
  EXPECT_TRUE(product_fits(-5, most, most));
}

}  // namespace
}  // namespace velko
