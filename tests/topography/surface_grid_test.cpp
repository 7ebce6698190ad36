#include "topography/surface_grid.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "reports/program_stop.h"
#include "topography/location.h"
#include "topography/triangulation.h"

namespace velko {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr r8 nan = std::numeric_limits<r8>::quiet_NaN();

i4 bracket(const std::vector<r8>& a, r8 v) {
  return find_bracket(array1<const r8>(a.data(), a.size()), v, static_cast<i4>(a.size()) - 1);
}

TEST(FindBracket, AtOrAboveTheFirstValueIsZero) {
  EXPECT_EQ(bracket({3, 2, 1}, 3), 0);
  EXPECT_EQ(bracket({3, 2, 1}, 3.5), 0);
}

TEST(FindBracket, BelowTheLastValueIsOneMoreThanTheBrackets) {
  EXPECT_EQ(bracket({3, 2, 1}, 0.5), 3);
}

TEST(FindBracket, BetweenTwoValuesIsTheNumberOfTheUpperOne) {
  EXPECT_EQ(bracket({3, 2, 1}, 2.5), 1);
  EXPECT_EQ(bracket({3, 2, 1}, 1.5), 2);
}

TEST(FindBracket, AtAValueIsTheBracketAboveIt) {
  EXPECT_EQ(bracket({3, 2, 1}, 2), 1);
  EXPECT_EQ(bracket({3, 2, 1}, 1), 2);
}

TEST(FindBracket, OfEqualValuesTheFirstBracketCounts) {
  EXPECT_EQ(bracket({3, 2, 2, 2, 1}, 2), 1);
  EXPECT_EQ(bracket({2, 2}, 2), 0);
}

TEST(FindBracket, WithoutBracketsAValueIsAtOrAboveTheOnlyOneOrBelowIt) {
  EXPECT_EQ(bracket({1}, 1), 0);
  EXPECT_EQ(bracket({1}, 0), 1);
}

TEST(FindBracket, ThatWhichIsNotANumberStandsNowhere) {
  EXPECT_EQ(bracket({3, 2, 1}, nan), 3);
}

TEST(PlaneDistance, IsTheLengthOfTheHypotenuse) {
  EXPECT_EQ(plane_distance(1, 2, 4, 6), 5);
  EXPECT_EQ(plane_distance(4, 6, 1, 2), 5);
  EXPECT_EQ(plane_distance(7, -1, 7, -1), 0);
}

TEST(SamplePositions, AreEdgesAndMidpointsInTurn) {
  const std::vector<r8> node{0, 1, 4};
  EXPECT_THAT(sample_positions(array1<const r8>(node.data(), 3), 2).elements(),
              ElementsAre(0, 0.5, 1, 2.5, 4));
  EXPECT_THAT(sample_positions(array1<const r8>(node.data(), 1), 0).elements(), ElementsAre(0));
  const std::array<r8, 2> decimals{0.1, 0.7};
  const r8 half_of_the_sum = (decimals[0] + decimals[1]) * 0.5;  // not 0.4, the edge and half of the width
  EXPECT_THAT(sample_positions(array1<const r8>(decimals.data(), 2), 1).elements(),
              ElementsAre(0.1, half_of_the_sum, 0.7));
}

/// A mesh of 2 x 3 columns whose cells have their top edges at 100, 90, 70, and their last bottom edge at 40.
class ClassifyColumns : public testing::Test {
 protected:
  static constexpr i4 ny = 2, nx = 3, nz = 3;
  static constexpr r8 ztop = 100;

  void SetUp() override { flat(1000); }
  void flat(r8 elevation) { std::fill(gz.begin(), gz.end(), elevation); }
  void classify() {
    classify_columns(gz, array1<const r8>(znode.data(), znode.size()), ny, nx, nz, ztop, itop);
  }
  i4 itop_of_flat(r8 elevation) {
    flat(elevation);
    classify();
    EXPECT_THAT(itop.elements(), Each(itop(1, 1)));
    return itop(1, 1);
  }

  std::vector<r8> znode{0, 10, 30, 60};
  owned_array2<r8> gz{2 * ny + 1, 2 * nx + 1};
  owned_array2<i4> itop{ny, nx};
};

TEST_F(ClassifyColumns, SurfaceAboveTheMeshTakesNothingOut) {
  EXPECT_EQ(itop_of_flat(101), 0);
}

TEST_F(ClassifyColumns, SurfaceAtTheTopOfTheMeshTakesNothingOut) {
  EXPECT_EQ(itop_of_flat(100), 0);
}

TEST_F(ClassifyColumns, SurfaceThatCutsACellTakesItOut) {
  EXPECT_EQ(itop_of_flat(std::nextafter(100.0, 0.0)), 1);
  EXPECT_EQ(itop_of_flat(85), 2);
  EXPECT_EQ(itop_of_flat(std::nextafter(90.0, 0.0)), 2);
}

TEST_F(ClassifyColumns, SurfaceAtTheTopEdgeOfACellLeavesItBelow) {
  EXPECT_EQ(itop_of_flat(90), 1);
  EXPECT_EQ(itop_of_flat(70), 2);
}

TEST_F(ClassifyColumns, SurfaceAtTheBottomOfTheMeshOrBelowItTakesOutTheColumn) {
  EXPECT_EQ(itop_of_flat(40), 3);
  EXPECT_EQ(itop_of_flat(39), 3);
  EXPECT_EQ(itop_of_flat(-1e30), 3);
}

TEST_F(ClassifyColumns, SamplesHigherThanAnySurfaceCountAsAPlaneAt1e20) {
  EXPECT_EQ(itop_of_flat(1e300), 0);
  znode = {-1e21, 1, 2, 3};
  EXPECT_EQ(itop_of_flat(1e300), 1);
}

/// Each sample of the grid in turn is made low: the columns that have it among their nine are those at most one
/// sample away from it, counted from their centres at even positions.
TEST_F(ClassifyColumns, LowestOfTheNineSamplesDecidesAndNeighboursShareTheirBorder) {
  for (i4 l = 1; l <= 2 * nx + 1; ++l)
    for (i4 k = 1; k <= 2 * ny + 1; ++k) {
      flat(1000);
      gz(k, l) = 75;
      classify();
      for (i4 j = 1; j <= nx; ++j)
        for (i4 i = 1; i <= ny; ++i) {
          const bool has_it = std::abs(k - 2 * i) <= 1 && std::abs(l - 2 * j) <= 1;
          EXPECT_EQ(itop(i, j), has_it ? 2 : 0) << "sample " << k << ' ' << l << ", column " << i << ' ' << j;
        }
    }
}

TEST_F(ClassifyColumns, SampleThatIsNotANumberLeavesTheDecisionToTheOthers) {
  flat(75);
  gz(1, 1) = gz(3, 3) = nan;
  classify();
  EXPECT_THAT(itop.elements(), Each(2));
  EXPECT_EQ(itop_of_flat(nan), 0);
}

TEST_F(ClassifyColumns, MeshWithoutLayersHasNothingToTakeOut) {
  const r8 top = 0;
  flat(-5);
  classify_columns(gz, array1<const r8>(&top, 1), ny, nx, 0, ztop, itop);
  EXPECT_THAT(itop.elements(), Each(0));
}

TEST_F(ClassifyColumns, MeshWithoutColumnsHasNoneToClassify) {
  const owned_array2<r8> one_sample(1, 1);
  classify_columns(one_sample, array1<const r8>(znode.data(), 4), 0, 0, nz, ztop, {});
}

TEST_F(ClassifyColumns, ArraysThatDoNotFitTheCountsStopWithTheTwoSizes) {
  const array1<const r8> edges(znode.data(), 4), too_few(znode.data(), 3);
  const auto text_of = [&](i4 rows, i4 layers, array1<const r8> node) {
    const stop_or_done end =
        run_until_stop([&] { classify_columns(gz, node, rows, nx, layers, ztop, itop); });
    EXPECT_EQ(end.kind, stop_or_done::stopped);
    return end.text;
  };
  EXPECT_EQ(text_of(ny + 1, nz, edges), "size(itop) /= ny x nx");
  EXPECT_EQ(text_of(ny, nz, too_few), "size(znode) /= nz + 1");
  EXPECT_EQ(text_of(ny, -1, array1<const r8>()), "size(znode) /= nz + 1");
  gz = owned_array2<r8>(2 * ny, 2 * nx + 1);
  EXPECT_EQ(text_of(ny, nz, edges), "size(gz) /= 2 ny + 1 x 2 nx + 1");
}

/// The meaning of itop, cell by cell: a cell stays exactly when its top edge is at or below all of its nine samples.
TEST(ItopProperty, CellStaysExactlyWhenItsTopEdgeIsAtOrBelowTheLowestOfItsNineSamples) {
  std::mt19937 random(20240817);
  const auto below = [&](int n) { return static_cast<i4>(random() % static_cast<unsigned>(n)); };
  for (int trial = 0; trial < 3000; ++trial) {
    const i4 ny = 1 + below(4), nx = 1 + below(4), nz = below(6);
    const r8 ztop = below(5);
    // Whole numbers, so that samples often lie on edges exactly.
    std::vector<r8> znode{0};
    for (i4 k = 1; k <= nz; ++k) znode.push_back(znode.back() + 1 + below(2));
    owned_array2<r8> gz(2 * ny + 1, 2 * nx + 1);
    for (r8& z : gz) z = ztop + 1 - below(static_cast<i4>(znode.back()) + 3);
    owned_array2<i4> itop(ny, nx);
    classify_columns(gz, array1<const r8>(znode.data(), znode.size()), ny, nx, nz, ztop, itop);
    for (i4 j = 1; j <= nx; ++j)
      for (i4 i = 1; i <= ny; ++i)
        for (i4 k = 1; k <= nz; ++k) {
          bool stays = true;
          for (const i4 row : {2 * i - 1, 2 * i, 2 * i + 1})
            for (const i4 column : {2 * j - 1, 2 * j, 2 * j + 1})
              stays = stays && ztop - znode[static_cast<std::size_t>(k - 1)] <= gz(row, column);
          ASSERT_EQ(stays, k > itop(i, j)) << "trial " << trial;
        }
  }
}

triangulated_surface surface_over(const std::vector<std::array<r8, 3>>& points_in_ascending_y) {
  triangulated_surface s;
  s.n = static_cast<i4>(points_in_ascending_y.size());
  for (owned_array1<r8>* t : {&s.tx, &s.ty, &s.tz}) *t = owned_array1<r8>(s.n);
  s.adj_list = owned_array1<i4>(6 * s.n);
  s.adj_end = owned_array1<i4>(s.n);
  i4 i = 0;
  for (const auto& [x, y, z] : points_in_ascending_y) {
    s.tx(++i) = x;
    s.ty(i) = y;
    s.tz(i) = z;
  }
  i4 status = 0;
  build_triangulation(s.n, s.ty, s.tx, s.adj_list, s.adj_end, status);
  return s;
}

owned_array1<r8> positions(const std::vector<r8>& values) {
  owned_array1<r8> g(static_cast<i8>(values.size()));
  std::copy(values.begin(), values.end(), g.begin());
  return g;
}

TEST(SampleSurface, HasTheElevationOfThePlaneThroughItsPointsWithYAlongTheFirstIndex) {
  const triangulated_surface s =
      surface_over({{0, 0, 1}, {8, 0, 9}, {0, 4, 41}, {8, 4, 49}});  // z = 1 + x + 10 y
  const owned_array2<r8> gz = sample_surface(s, positions({0, 2, 4}), positions({1, 3}));
  EXPECT_EQ(gz.extent(1), 3);
  EXPECT_EQ(gz.extent(2), 2);
  EXPECT_THAT(gz.elements(), ElementsAre(2, 22, 42, 4, 24, 44));
}

TEST(SampleSurface, HasBeyondTheHullTheElevationOfItsNearestPoint) {
  const triangulated_surface s = surface_over({{0, 0, 1}, {8, 0, 9}, {0, 4, 41}, {8, 4, 49}});
  const owned_array2<r8> gz = sample_surface(s, positions({-5, 2, 9}), positions({-1, 4, 20}));
  EXPECT_THAT(gz.elements(), ElementsAre(1, 21, 41, 5, 25, 45, 9, 29, 49));
}

TEST(SampleSurface, OfFewerThanThreePointsLiesAtZero) {
  for (const auto& points :
       std::vector<std::vector<std::array<r8, 3>>>{{}, {{1, 1, 7}}, {{1, 1, 7}, {2, 2, 7}}})
    EXPECT_THAT(sample_surface(surface_over(points), positions({0, 1, 2}), positions({1, 2})).elements(),
                Each(0.0));
}

/// On a shared edge and beyond the hull the last bits depend on the triangle from which a search comes.
TEST(SampleSurface, EachSearchBeginsWhereTheOneBeforeEnded) {
  std::mt19937 random(5);
  std::uniform_real_distribution<r8> anywhere(0, 10);
  std::vector<std::array<r8, 3>> points;
  for (int i = 0; i < 200; ++i) points.push_back({anywhere(random), 0.05 * i, anywhere(random)});
  const triangulated_surface s = surface_over(points);
  std::vector<r8> along;
  for (int i = 0; i <= 60; ++i) along.push_back(-1 + 0.2 * i);
  const owned_array1<r8> g = positions(along);
  const owned_array2<r8> gz = sample_surface(s, g, g);
  i4 start = 1, status = 0;
  for (i4 j = 1; j <= 61; ++j)
    for (i4 i = 1; i <= 61; ++i) {
      r8 z = 0;
      surface_value(s.n, g(i), g(j), s.ty, s.tx, s.tz, s.adj_list, s.adj_end, start, z, status);
      ASSERT_EQ(gz(i, j), z) << i << ' ' << j;
    }
}

}  // namespace
}  // namespace velko
