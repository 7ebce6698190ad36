#include "builder/input_checks.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

#include "reports/program_stop.h"
#include "tests/support/small_mesh.h"

namespace velko {
namespace {

using test::mesh_with;

/// Counts alone: the edges of so many cells would fill the memory.
mesh_state mesh_of_counts(i4 nx, i4 ny, i4 nz) {
  mesh_state m;
  m.nx = nx;
  m.ny = ny;
  m.nz = nz;
  return m;
}

stop_or_done checked(const mesh_state& m) {
  return run_until_stop([&] { check_mesh(m); });
}

TEST(InputChecks, TakeAMesh) {
  EXPECT_EQ(checked(mesh_with({0, 1, 3}, {0, 1}, {5, 4, 2})), stop_or_done{});
}

TEST(InputChecks, RefuseATopThatIsNotFinite) {
  mesh_state m = mesh_with({0, 1}, {0, 1}, {1, 0});
  m.ztop = std::numeric_limits<r8>::quiet_NaN();
  EXPECT_EQ(checked(m), (stop_or_done{stop_or_done::stopped,
                                      "velkmtx: the top of the mesh is at nan, which is not finite"}));
  m.ztop = -std::numeric_limits<r8>::infinity();
  EXPECT_EQ(checked(m), (stop_or_done{stop_or_done::stopped,
                                      "velkmtx: the top of the mesh is at -inf, which is not finite"}));
}

TEST(InputChecks, TakeACountOf2To30) {
  constexpr i4 highest = i4{1} << 30;
  for (const mesh_state& m :
       {mesh_of_counts(highest, 1, 1), mesh_of_counts(1, highest, 1), mesh_of_counts(1, 1, highest)})
    EXPECT_EQ(checked(m), stop_or_done{});
}

/// The next power of two is beyond 32 bits, and so is the cube.
TEST(InputChecks, RefuseACountAbove2To30) {
  const auto refusal = [](const char* counts) {
    return stop_or_done{stop_or_done::stopped, std::string("velkmtx: the cube of powers of two around ") +
                                                   counts +
                                                   " cells has more elements than 32 bits can count"};
  };
  constexpr i4 above = (i4{1} << 30) + 1;
  EXPECT_EQ(checked(mesh_of_counts(above, 1, 1)), refusal("1073741825 x 1 x 1"));
  EXPECT_EQ(checked(mesh_of_counts(1, above, 1)), refusal("1 x 1073741825 x 1"));
  EXPECT_EQ(checked(mesh_of_counts(1, 1, above)), refusal("1 x 1 x 1073741825"));
}

TEST(InputChecks, RefuseASurfaceBelowTheMesh) {
  mesh_state m = mesh_with({0, 1, 2}, {0, 1}, {2, 1, 0});
  m.itop(1, 1) = m.itop(1, 2) = 2;
  const stop_or_done refusal{stop_or_done::stopped, "velkmtx: no cell of the mesh lies below the surface"};
  EXPECT_EQ(run_until_stop([&] { check_surface(m); }), refusal);
  m.itop(1, 2) = 1;
  EXPECT_EQ(run_until_stop([&] { check_surface(m); }), stop_or_done{});
}

/// Whether a datum there counts as in or on a cell; the western one of two columns has its upper cell in the air.
bool is_in_a_cell(r8 x, r8 y, r8 z) {
  mesh_state m = mesh_with({0, 1, 2}, {0, 1}, {2, 1, 0});
  m.itop(1, 1) = 1;
  survey_state s;
  s.ndata = 1;
  s.xobs = owned_array1<r8>(std::vector<r8>{x});
  s.yobs = owned_array1<r8>(std::vector<r8>{y});
  s.zobs = owned_array1<r8>(std::vector<r8>{z});
  return count_data_in_cells(s, m) == 1;
}

TEST(InputChecks, CountDataInCells) {
  EXPECT_TRUE(is_in_a_cell(0.5, 0.5, 0.5));
  EXPECT_TRUE(is_in_a_cell(1.5, 0.5, 1.5));
  EXPECT_FALSE(is_in_a_cell(0.5, 0.5, 1.5));  // in the air
}

TEST(InputChecks, CountDataOnFacesEdgesAndCorners) {
  EXPECT_TRUE(is_in_a_cell(0.5, 0.5, 1));  // on the ground
  EXPECT_TRUE(is_in_a_cell(1, 0.5, 1.5));  // on the wall of the eastern column
  EXPECT_TRUE(is_in_a_cell(1, 0, 2));
  EXPECT_TRUE(is_in_a_cell(0, 0, 0));
  EXPECT_TRUE(is_in_a_cell(2, 1, 2));
  EXPECT_FALSE(is_in_a_cell(0, 0, 2));
}

TEST(InputChecks, DoNotCountDataBesideTheMesh) {
  for (const auto& [x, y, z] : {std::array<r8, 3>{-1e-9, 0.5, 0.5},
                                {2.1, 0.5, 0.5},
                                {0.5, -0.1, 0.5},
                                {0.5, 1.1, 0.5},
                                {0.5, 0.5, -0.1},
                                {1.5, 0.5, 2.1}})
    EXPECT_FALSE(is_in_a_cell(x, y, z)) << x << " " << y << " " << z;
}

}  // namespace
}  // namespace velko
