// Where points lie in small triangulations, and what the surface is there, worked out by hand; larger ones
// are compared in properties_test.cpp and triangulation_judge_test.cpp.
#include "topography/location.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/topography/built_table.h"

namespace velko::test {
namespace {

constexpr r8 not_a_number = std::numeric_limits<r8>::quiet_NaN();

struct surface_answer {
  r8 pz;
  i4 status, ist;
  bool operator==(const surface_answer&) const = default;
};

void PrintTo(const surface_answer& a, std::ostream* out) {
  *out << "pz " << a.pz << ", status " << a.status << ", ist " << a.ist;
}

/// Nodes with their table and elevations.
struct terrain {
  std::vector<r8> x, y, z;
  flat_table table = built(x, y);

  place_found locate(i4 start, r8 px, r8 py) const { return located(start, px, py, x, y, table); }

  surface_answer at(r8 px, r8 py, i4 ist = 1) const { return with_n(static_cast<i4>(x.size()), px, py, ist); }
  surface_answer with_n(i4 n, r8 px, r8 py, i4 ist) const {
    surface_answer a{not_a_number, untouched, ist};
    surface_value(n, px, py, view(x), view(y), view(z), view(table.adj_list), view(table.adj_end), a.ist,
                  a.pz, a.status);
    return a;
  }
};

/// The unit square with the diagonal from (0, 1) to (1, 0). The hull runs 1, 3, 4, 2.
const terrain square{{0, 0, 1, 1}, {0, 1, 0, 1}, {0, 10, 20, 50}};

/// A triangle with one node inside.
const terrain pyramid{{0, 4, 0, 1}, {0, 0, 4, 1}, {0, 0, 0, 8}};

TEST(Location, GivesTheTriangleAroundAPointCounterclockwise) {
  EXPECT_EQ(pyramid.locate(3, 1.5, 0.5), (place_found{1, 2, 4}));
  EXPECT_EQ(square.locate(1, 0.25, 0.25), (place_found{3, 2, 1}));
}

TEST(Location, FindsAnInteriorNodeFromAnotherNodesView) {
  const surface_answer at_node = pyramid.at(1, 1, 4);
  EXPECT_EQ(at_node.pz, 8);
  EXPECT_EQ(at_node.status, 0);
  for (const i4 start : {1, 2, 3}) EXPECT_EQ(pyramid.at(1, 1, start).pz, 8);
}

TEST(Location, TakesAPointOnTheBoundaryAsOutsideWithTheRightValue) {
  EXPECT_EQ(square.locate(1, 0.25, 0).i3, 0);
  for (const i4 start : {1, 2, 3, 4}) {
    EXPECT_EQ(square.at(0.25, 0, start).pz, 5);
    EXPECT_EQ(square.at(0.25, 0, start).status, 1);
    EXPECT_EQ(square.at(1, 1, start).pz, 50);
    EXPECT_EQ(square.at(1, 1, start).status, 1);
  }
}

TEST(Location, GivesTheSameValueOnASharedEdgeFromEitherSide) {
  for (const i4 start : {1, 2, 3, 4}) {
    EXPECT_EQ(square.at(0.5, 0.5, start).pz, 15);
    EXPECT_EQ(square.at(0.5, 0.5, start).status, 0);
    EXPECT_EQ(square.at(0.25, 0.75, start).pz, 12.5);
  }
}

TEST(Location, FindsTheFirstAndTheLastVisibleNodeFromOutside) {
  EXPECT_EQ(square.locate(4, 0.5, -1), (place_found{3, 1, 0}));   // one arc
  EXPECT_EQ(square.locate(4, -1, -1), (place_found{3, 2, 0}));    // round a corner
  EXPECT_EQ(square.locate(1, 0.5, 100), (place_found{2, 4, 0}));  // far away
}

TEST(Location, StopsTheHullWalkAtAnArcWhoseLineHoldsThePoint) {
  EXPECT_EQ(square.locate(1, 2, 0), (place_found{4, 3, 0}));
  EXPECT_EQ(square.locate(1, 2, 1), (place_found{4, 3, 0}));
  EXPECT_EQ(square.locate(4, -1, 0), (place_found{1, 2, 0}));
}

TEST(Location, ReadsAStartBelowOneAsNodeOneOrRefusesIt) {
  EXPECT_EQ(square.locate(0, 0.25, 0.25), square.locate(1, 0.25, 0.25));
  EXPECT_EQ(square.locate(-5, 0.25, 0.25), square.locate(1, 0.25, 0.25));
  EXPECT_EQ(square.at(0.25, 0.25, 0), (surface_answer{0, -1, 0}));
  EXPECT_EQ(square.at(0.25, 0.25, -3), (surface_answer{0, -1, -3}));
  EXPECT_EQ(square.at(0.25, 0.25, 5), (surface_answer{0, -1, 5}));
}

TEST(Location, HasNoSurfaceOverFewerThanThreeNodes) {
  for (const i4 n : {2, 1, 0, -1})
    for (const i4 ist : {-1, 0, 1, 2})
      EXPECT_EQ(square.with_n(n, 0.25, 0.25, ist), (surface_answer{0, -1, ist}));
}

TEST(Location, HandsOnTheNodeWhereTheNextSearchMayBegin) {
  EXPECT_EQ(pyramid.at(1.5, 0.5, 3).ist, 1);
  EXPECT_EQ(pyramid.at(0.5, 1.5, 2).ist, 3);
  EXPECT_EQ(square.at(0.5, -1, 4).ist, 3);
}

TEST(Location, InterpolatesLinearlyInATriangle) {
  // Between the edge from node 1 to node 2 and the apex: 8 for each unit of y.
  EXPECT_DOUBLE_EQ(pyramid.at(1.5, 0.5).pz, 4);
  EXPECT_DOUBLE_EQ(pyramid.at(2.25, 0.25).pz, 2);
  EXPECT_EQ(pyramid.at(1.5, 0.5).status, 0);
}

TEST(Location, ContinuesTheSurfaceAtTheFootOfThePointOnTheHull) {
  EXPECT_DOUBLE_EQ(square.at(0.25, -3).pz, 5);
  EXPECT_DOUBLE_EQ(square.at(7, 0.5).pz, 35);
  EXPECT_EQ(square.at(0.25, -3).status, 1);
}

TEST(Location, GivesACornersValueOutsideTheCorner) {
  for (const i4 start : {1, 2, 3, 4}) {
    EXPECT_EQ(square.at(-1, -2, start), (surface_answer{0, 1, 3}));
    EXPECT_EQ(square.at(2, 2, start), (surface_answer{50, 1, 2}));
    EXPECT_EQ(square.at(2, 0, start), (surface_answer{20, 1, 4}));  // on the line of an arc
  }
}

TEST(Location, KnowsAPointOnOneLineWithAllNodes) {
  const terrain line{{0, 1, 2}, {0, 0, 0}, {1, 2, 3}, {0, {2, 3, 0, 3, 1, 0, 1, 2, 0}, {3, 6, 9}}};
  EXPECT_EQ(line.locate(1, 0.5, 0), (place_found{0, 0, 0}));
  EXPECT_EQ(line.at(0.5, 0, 2), (surface_answer{0, -2, 2}));
}

/// So small that the products of its sides vanish: the walk is made without rounding, but the area is 0 in
/// floats.
TEST(Location, HasNoSurfaceInATriangleWithoutArea) {
  const r8 tiny = 1e-170;
  const terrain speck{{0, tiny, 0}, {0, 0, tiny}, {1, 2, 3}, {0, {2, 3, 0, 3, 1, 0, 1, 2, 0}, {3, 6, 9}}};
  EXPECT_EQ(speck.at(tiny / 4, tiny / 4, 1), (surface_answer{0, -2, 2}));
  EXPECT_EQ(speck.locate(1, tiny / 4, tiny / 4), (place_found{2, 3, 1}));
}

TEST(Location, FindsNothingWhereThePositionIsNoNumber) {
  EXPECT_EQ(square.locate(1, not_a_number, 0), (place_found{0, 0, 0}));
  EXPECT_EQ(square.at(0, not_a_number, 2), (surface_answer{0, -2, 2}));
  EXPECT_EQ(pyramid.at(not_a_number, not_a_number, 4), (surface_answer{0, -2, 4}));
}

TEST(Location, ComesBackFromInfinitePositions) {
  const r8 far = std::numeric_limits<r8>::infinity();
  for (const r8 px : {far, -far, 0.5})
    for (const r8 py : {far, -far}) {
      EXPECT_NE(square.at(px, py).status, untouched);
      EXPECT_NE(pyramid.at(px, py, 4).status, untouched);
    }
}

/// The value of the formulas as they stand, from the place that locate_point gives.
r8 surface_as_told(const terrain& in, const place_found& at, r8 px, r8 py) {
  const auto x = [&](i4 k) { return in.x[static_cast<std::size_t>(k - 1)]; };
  const auto y = [&](i4 k) { return in.y[static_cast<std::size_t>(k - 1)]; };
  const auto z = [&](i4 k) { return in.z[static_cast<std::size_t>(k - 1)]; };
  const auto [i1, i2, i3] = at;
  if (i3 != 0) {
    const r8 area = (x(i3) - x(i2)) * (y(i1) - y(i3)) - (x(i1) - x(i3)) * (y(i3) - y(i2));
    const r8 w1 = ((x(i3) - x(i2)) * (py - y(i2)) - (y(i3) - y(i2)) * (px - x(i2))) / area;
    const r8 w2 = ((x(i1) - x(i3)) * (py - y(i1)) - (y(i1) - y(i3)) * (px - x(i1))) / area;
    const r8 w3 = ((x(i2) - x(i1)) * (py - y(i1)) - (y(i2) - y(i1)) * (px - x(i1))) / area;
    return w1 * z(i1) + w2 * z(i2) + w3 * z(i3);
  }
  for (i4 a = i1;;) {
    const i4 b = neighbour_lists{view(in.table.adj_list), view(in.table.adj_end)}.previous_on_boundary(a);
    const r8 d = (px - x(a)) * (x(b) - x(a)) + (py - y(a)) * (y(b) - y(a));
    if (0 >= d) return z(a);
    const r8 e = (px - x(b)) * (x(a) - x(b)) + (py - y(b)) * (y(a) - y(b));
    if (e > 0) {
      const r8 t = d / ((x(a) - x(b)) * (x(a) - x(b)) + (y(a) - y(b)) * (y(a) - y(b)));
      return t * z(b) + (1 - t) * z(a);
    }
    a = b;
  }
}

TEST(Location, GivesTheValueOfTheFormulasToTheLastBit) {
  std::mt19937 generator(17);
  std::uniform_real_distribution<r8> inside(0, 10), around(-10, 20);
  for (int set = 0; set < 20; ++set) {
    std::vector<r8> x(30), y(30), z(30);
    for (std::vector<r8>* values : {&x, &y, &z})
      for (r8& value : *values) value = inside(generator);
    const terrain random{x, y, z};
    for (int sample = 0; sample < 200; ++sample) {
      const r8 px = around(generator), py = around(generator);
      const surface_answer found = random.at(px, py);
      const place_found at = random.locate(1, px, py);
      EXPECT_EQ(found, (surface_answer{surface_as_told(random, at, px, py), at.i3 == 0 ? 1 : 0, at.i1}));
    }
  }
}

TEST(BarycentricWeights, AddUpToThePoint) {
  std::vector<r8> w(3);
  i4 status = untouched;
  barycentric_weights(1, 0.25, 0, 4, 1, 0, 0, 1, array1<r8>(w.data(), 3), status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(w, (std::vector<r8>{0.5625, 0.1875, 0.25}));
}

TEST(BarycentricWeights, AreLeftAloneForATriangleWithoutArea) {
  std::vector<r8> w{7, 8, 9};
  i4 status = untouched;
  barycentric_weights(1, 1, 0, 1, 2, 0, 1, 2, array1<r8>(w.data(), 3), status);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(w, (std::vector<r8>{7, 8, 9}));
}

}  // namespace
}  // namespace velko::test
