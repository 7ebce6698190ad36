/// The corner points: where the points do not reach a corner of the mesh, read_surface adds it.
#include <cmath>
#include <random>

#include "tests/topography/terrain.h"
#include "topography/node_sort.h"

namespace velko {
namespace {

using test::exact;
using test::file_of;
using test::point;
using test::Silent;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;
using testing::SizeIs;

/// Four points well inside the mesh of 40 x 30, each with an elevation of its own.
const std::vector<point> inner{{11, 11, 1}, {12, 21, 2}, {31, 12, 3}, {32, 22, 4}};

struct horizontal {
  r8 x, y;
};
constexpr std::array<horizontal, 4> corners{{{0, 0}, {0, 30}, {40, 0}, {40, 30}}};

class MeshCorners : public test::topography_reader {
 protected:
  using test::topography_reader::triangulated;

  /// Which of the four corners are points of the surface, as a row of 0 and 1.
  std::string added_to(const std::vector<point>& points) {
    const std::vector<point> all = triangulated(points);
    std::string added;
    for (const auto& [x, y] : corners) {
      bool is_there = false;
      for (const point& p : all) is_there = is_there || (p[0] == x && p[1] == y);
      added += is_there ? '1' : '0';
    }
    return added;
  }

  static std::vector<point> inner_and(const point& p) {
    std::vector<point> points = inner;
    points.push_back(p);
    return points;
  }
};

TEST_F(MeshCorners, PointsThatReachNoCornerGetAllFourAtTheElevationOfTheNearest) {
  EXPECT_THAT(triangulated(inner), testing::UnorderedElementsAreArray(std::vector<point>{{11, 11, 1},
                                                                                         {12, 21, 2},
                                                                                         {31, 12, 3},
                                                                                         {32, 22, 4},
                                                                                         {0, 0, 1},
                                                                                         {0, 30, 2},
                                                                                         {40, 0, 3},
                                                                                         {40, 30, 4}}));
}

TEST_F(MeshCorners, PointsThatReachAnEdgeExactlySuppressItsTwoCorners) {
  EXPECT_EQ(added_to(inner_and({0, 15, 9})), "0011");
  EXPECT_EQ(added_to(inner_and({40, 15, 9})), "1100");
  EXPECT_EQ(added_to(inner_and({20, 0, 9})), "0101");
  EXPECT_EQ(added_to(inner_and({20, 30, 9})), "1010");
}

TEST_F(MeshCorners, PointsThatReachBeyondAnEdgeSuppressItsTwoCorners) {
  EXPECT_EQ(added_to(inner_and({-3, 15, 9})), "0011");
  EXPECT_EQ(added_to(inner_and({43, 15, 9})), "1100");
  EXPECT_EQ(added_to(inner_and({20, -3, 9})), "0101");
  EXPECT_EQ(added_to(inner_and({20, 33, 9})), "1010");
}

TEST_F(MeshCorners, PointsThatReachAnEdgeAllButExactlySuppressNothing) {
  for (const point& p : {point{std::nextafter(0.0, 1.0), 15, 9},
                         {std::nextafter(40.0, 0.0), 15, 9},
                         {20, std::nextafter(0.0, 1.0), 9},
                         {20, std::nextafter(30.0, 0.0), 9}})
    EXPECT_EQ(added_to(inner_and(p)), "1111") << exact(p[0]) << ' ' << exact(p[1]);
}

/// First cells of 10 x 10: a quarter of them is 2.5.
TEST_F(MeshCorners, PointAtAQuarterOfTheFirstCellOrNearerSuppressesItsCorner) {
  const std::array<std::string, 4> all_but_one{"0111", "1011", "1101", "1110"};
  for (std::size_t c = 0; c < 4; ++c) {
    const auto [x, y] = corners[c];
    const r8 towards_x = x == 0 ? 1 : -1, towards_y = y == 0 ? 1 : -1;
    // 1.5, 2, and 2.5 are sides and hypotenuse.
    EXPECT_EQ(added_to(inner_and({x + 1.5 * towards_x, y + 2 * towards_y, 9})), all_but_one[c]);
    EXPECT_EQ(added_to(inner_and({x + 1 * towards_x, y + 1 * towards_y, 9})), all_but_one[c]);
    EXPECT_EQ(added_to(inner_and({x + 1.5 * towards_x, y + 2.001 * towards_y, 9})), "1111");
  }
}

TEST_F(MeshCorners, NearnessIsAQuarterOfTheSmallerOfTheTwoFirstWidths) {
  const std::vector<point> points = inner_and({39, 29, 9});  // at a distance of 1.41 from its corner
  set_mesh({0, 5, 6, 7, 40}, {0, 10, 11, 30}, {0, 10}, 100);
  EXPECT_EQ(added_to(points), "1111");
  set_mesh({0, 10, 11, 12, 40}, {0, 5, 6, 30}, {0, 10}, 100);
  EXPECT_EQ(added_to(points), "1111");
  set_mesh({0, 6, 7, 8, 40}, {0, 6, 7, 30}, {0, 10}, 100);
  EXPECT_EQ(added_to(points), "1110");
}

/// The corner lies outside the box, and beyond the hull the surface is as high as the hull's nearest point.
TEST_F(MeshCorners, SuppressedCornerTakesTheElevationOfTheHull) {
  set_mesh({0, 10, 40}, {0, 10, 30}, {0, 10, 20, 30, 40}, 100);
  EXPECT_THAT(read(file_of({{1, 1, 65}, {39, 1, 95}, {1, 29, 95}, {39, 29, 95}})), Silent());
  EXPECT_EQ(mesh.itop(1, 1), 4);
  const triangulated_surface s = read_surface(name_);
  EXPECT_EQ(s.n, 4);
  const owned_array2<r8> gz =
      sample_surface(s, sample_positions(mesh.ynode, mesh.ny), sample_positions(mesh.xnode, mesh.nx));
  EXPECT_EQ(gz(1, 1), 65);
}

TEST_F(MeshCorners, OfPointsAtEqualDistanceTheFirstOfTheFileStands) {
  EXPECT_THAT(triangulated(std::vector<point>{{3, 4, 100}, {4, 3, 200}, {20, 20, 5}}),
              Contains(point{0, 0, 100}));
  EXPECT_THAT(triangulated(std::vector<point>{{4, 3, 200}, {3, 4, 100}, {20, 20, 5}}),
              Contains(point{0, 0, 200}));
}

TEST_F(MeshCorners, PointsFartherAwayThan1e15GiveTheElevationZero) {
  set_mesh({0, 1, 4e16}, {0, 1, 4e16}, {0, 10}, 100);
  EXPECT_THAT(triangulated(std::vector<point>{{1.2e16, 1e16, 7}, {3e16, 1e16, 7}, {2e16, 3e16, 7}}),
              IsSupersetOf({point{0, 0, 0}, point{0, 4e16, 0}, point{4e16, 0, 0}, point{4e16, 4e16, 0}}));
}

/// Two corners have one y: the sort tells in which order they came.
TEST_F(MeshCorners, AddedPointsFollowThoseOfTheFileInFixedOrder) {
  std::mt19937 random(3);
  std::uniform_real_distribution<r8> across(3, 37), along(3, 27);
  std::vector<point> points;
  for (int count = 1; count <= 60; ++count) {
    points.push_back({across(random), along(random), 5});
    std::vector<point> all = points;
    for (const auto& [x, y] : corners) all.push_back({x, y, 5});
    const auto n = static_cast<i4>(all.size());
    owned_array1<r8> x(n), y(n), none;
    owned_array1<i4> ind(n);
    for (i4 i = 1; i <= n; ++i) {
      x(i) = all[static_cast<std::size_t>(i - 1)][0];
      y(i) = all[static_cast<std::size_t>(i - 1)][1];
    }
    reorder_nodes(n, 2, y, x, none, ind);
    std::vector<point> sorted;
    for (i4 i = 1; i <= n; ++i) sorted.push_back({x(i), y(i), 5});
    EXPECT_EQ(triangulated(points), sorted) << count;
  }
}

TEST_F(MeshCorners, OnePointAndFourCornersMakeASurface) {
  EXPECT_THAT(read("1\n20 15 85\n"), test::Says(small));
  EXPECT_THAT(mesh.itop.elements(), Each(2));
}

TEST_F(MeshCorners, PointsOnALineInsideTheMeshAreNoLineWithTheCorners) {
  EXPECT_EQ(added_to({{10, 10, 85}, {20, 15, 85}, {30, 20, 85}}), "1111");
}

TEST_F(MeshCorners, NoPointsInsideAMeshThatReachesBeyond1e15AreItsCornersAtZero) {
  set_mesh({-2e15, 0, 2e15}, {-2e15, 0, 2e15}, {0, 10, 20}, 15);
  const std::vector<point> four = triangulated("-3\n");
  EXPECT_THAT(four, testing::UnorderedElementsAre(point{-2e15, -2e15, 0}, point{-2e15, 2e15, 0},
                                                  point{2e15, -2e15, 0}, point{2e15, 2e15, 0}));
}

}  // namespace
}  // namespace velko
