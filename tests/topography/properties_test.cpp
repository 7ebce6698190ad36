// What holds for every set of nodes, looked at without rounding, and what the steps of the method give for it, entry for
// entry: their second, slow version stands in slow_sort.h and slow_triangulation.h.
#include <gtest/gtest.h>

#include <random>

#include "tests/topography/built_table.h"
#include "tests/topography/node_sets.h"
#include "tests/topography/slow_sort.h"
#include "tests/topography/triangulation_judge.h"
#include "topography/node_sort.h"

namespace velko::test {
namespace {

#if defined(VELKO_SANITIZED)
constexpr unsigned rounds = 2;
#else
constexpr unsigned rounds = 25;
#endif

/// Calls `look` with sets of every kind, in every order, small and less small.
template <class function>
void for_many_sets(function look) {
  i4 sets = 0;
  for (unsigned round = 1; round <= rounds; ++round)
    for (const kind k : kinds)
      for (const order o : orders)
        for (const i4 size : {3, 4, 5, 7, 12, 33, 90}) {
          look(make_nodes(k, o, size, 100 * round + static_cast<unsigned>(size)));
          ++sets;
          if (testing::Test::HasFailure()) return;
        }
  testing::Test::RecordProperty("sets", sets);
}

TEST(Triangulation, IsDelaunayConvexPackedAndCounterclockwiseForEverySet) {
  for_many_sets([](const node_set& nodes) {
    const flat_table table = built(nodes.x, nodes.y);
    const bool is_line = table.status != 0;
    EXPECT_EQ(is_line ? "" : fault_of(nodes, table), "");
  });
}

TEST(Triangulation, HasTheTablesOfTheStepsForEverySet) {
  for_many_sets([](const node_set& nodes) {
    EXPECT_EQ(built(nodes.x, nodes.y), slow_build(nodes.x, nodes.y).table) << nodes.name;
  });
}

TEST(Triangulation, HasTheTablesOfTheStepsForThousandsOfNodes) {
  for (const kind k : {kind::scattered, kind::crowded, kind::gridded, kind::clustered})
    for (const order o : {order::sorted, order::shuffled}) {
      const node_set nodes = make_nodes(k, o, 100 * static_cast<i4>(rounds), 1);
      const flat_table table = built(nodes.x, nodes.y);
      EXPECT_EQ(table, slow_build(nodes.x, nodes.y).table) << nodes.name;
      EXPECT_EQ(fault_of(nodes, table), "");
    }
}

/// Coordinates as they stand in files: decimals, which no float holds exactly, far from the origin.
TEST(Triangulation, HasTheTablesOfTheStepsWhereCoordinatesAreRounded) {
  for_many_sets([](node_set nodes) {
    if (nodes.name.starts_with("scattered")) return;
    for (r8& x : nodes.x) x = 437000 + x / 10;
    for (r8& y : nodes.y) y = 5912000.7 + y / 30;
    EXPECT_EQ(built(nodes.x, nodes.y), slow_build(nodes.x, nodes.y).table) << nodes.name;
  });
}

std::string fault_without_rounding(const node_set& nodes, const flat_table& table) {
  const int exponent = finest(nodes.x, nodes.y);
  return triangulation_judge(wholes(nodes.x, exponent), wholes(nodes.y, exponent), table).fault();
}

/// Rows that are straight only up to rounding: the steps succeed in floats, or the library begins again without rounding,
/// and then the table is Delaunay and convex to the letter.
TEST(Triangulation, OfTurnedGridsHasTheTablesOfTheStepsInFloatsOrElseExactly) {
  int sets = 0, exactly = 0;
  for (i4 side = 2; side <= 10 + static_cast<i4>(rounds) / 3; ++side)
    for (const r8 degrees :
         {0.0, 0.1, 1.0, 7.0, 13.0, 30.0, 33.0, 45.0, 60.0, 89.0, 90.0, 101.5, 180.0, 270.0}) {
      const node_set nodes = turned_grid(side, degrees);
      const flat_table table = built(nodes.x, nodes.y);
      const slow_table slow = slow_build(nodes.x, nodes.y);
      EXPECT_EQ(table, slow.table) << nodes.name;
      triangulation_judge judge(wholes(nodes.x, finest(nodes.x, nodes.y)),
                                wholes(nodes.y, finest(nodes.x, nodes.y)), table);
      EXPECT_EQ(slow.exact ? judge.fault() : judge.fault_of_lists(), "") << nodes.name;
      ++sets;
      exactly += slow.exact;
    }
  RecordProperty("sets", sets);
  RecordProperty("built exactly", exactly);
  EXPECT_GT(exactly, 0);
}

/// In floats, every test of these has an answer and the lists fit together, but the first row is ordered so that the hull
/// turns back on itself, and no search comes through.
TEST(Triangulation, OfGridsThatFoldOverInFloatsIsBuiltWithoutRounding) {
  struct grid {
    i4 side;
    r8 degrees, spacing;
  };
  for (const auto& [side, degrees, spacing] :
       {grid{4, 99.5, 1}, grid{5, 93, 12.5}, grid{6, 172, 1}, grid{9, 352.5, 12.5}, grid{16, 272.5, 12.5}}) {
    const node_set nodes = turned_grid(side, degrees, spacing);
    const flat_table in_floats = slow_triangulation<r8>(nodes.x, nodes.y).table();
    EXPECT_TRUE(folds(nodes.x, nodes.y, in_floats)) << nodes.name;
    EXPECT_EQ(fault_without_rounding(nodes, built(nodes.x, nodes.y)), "") << nodes.name;
  }
}

/// Points that ask for every branch of the search: on nodes, on arcs and their lines beyond the hull, in triangles,
/// next to the hull, far away.
std::vector<std::pair<r8, r8>> points_around(const node_set& nodes, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_int_distribution<std::size_t> any(0, nodes.x.size() - 1);
  std::uniform_real_distribution<r8> wide(-1.5, 2.5);
  std::vector<std::pair<r8, r8>> points;
  for (int i = 0; i < 2; ++i) {
    const std::size_t a = any(generator), b = any(generator), c = any(generator);
    const auto on_line = [&](r8 t) {
      points.emplace_back(nodes.x[a] + t * (nodes.x[b] - nodes.x[a]),
                          nodes.y[a] + t * (nodes.y[b] - nodes.y[a]));
    };
    for (const r8 t : {0.0, 0.5, 2.0, -1.0, wide(generator)}) on_line(t);
    points.emplace_back((nodes.x[a] + nodes.x[b] + nodes.x[c]) / 3,
                        (nodes.y[a] + nodes.y[b] + nodes.y[c]) / 3);
    points.emplace_back(nodes.x[a] + 1, nodes.y[b] - 1);
    points.emplace_back(1e6 * wide(generator), 1e6 * wide(generator));
  }
  return points;
}

/// Without rounding: whether the point lies in the triangle, or on it; or for a place outside, beyond the visible hull.
bool holds(const place_found& at, std::pair<r8, r8> p, const node_set& nodes) {
  std::vector<r8> xs{p.first}, ys{p.second};
  for (const i4 corner : {at.i1, at.i2, at.i3 == 0 ? at.i1 : at.i3}) {
    xs.push_back(nodes.x[static_cast<std::size_t>(corner - 1)]);
    ys.push_back(nodes.y[static_cast<std::size_t>(corner - 1)]);
  }
  const std::vector<whole> x = wholes(xs, finest(xs, ys)), y = wholes(ys, finest(xs, ys));
  const auto left = [&](std::size_t a, std::size_t b) {
    return (x[b] - x[a]) * (y[0] - y[a]) >= (x[0] - x[a]) * (y[b] - y[a]);
  };
  return left(1, 2) && (at.i3 == 0 || (left(2, 3) && left(3, 1)));
}

/// The place of the steps in floats; but where rounding leads these to a triangle beside the point, one that holds it.
testing::AssertionResult is_place_of_the_steps(const place_found& found, const place_found& steps,
                                               std::pair<r8, r8> p, const node_set& nodes) {
  if (found == steps) return testing::AssertionSuccess();
  if (!holds(steps, p, nodes) && holds(found, p, nodes)) return testing::AssertionSuccess();
  const auto words = [](const place_found& at) {
    return testing::PrintToString(std::tuple(at.i1, at.i2, at.i3));
  };
  return testing::AssertionFailure() << words(found) << " in place of " << words(steps);
}

TEST(Location, FindsWhatTheStepsFindFromEveryStart) {
  for_many_sets([](const node_set& nodes) {
    if (nodes.n() < 3 || nodes.n() > 35) return;
    const slow_triangulation<r8> slow(nodes.x, nodes.y);
    const flat_table table = slow.table();
    if (table.status != 0) return;
    for (const auto& [px, py] : points_around(nodes, 5))
      for (i4 start = 0; start <= nodes.n(); ++start)
        EXPECT_TRUE(is_place_of_the_steps(located(start, px, py, nodes.x, nodes.y, table),
                                          slow.locate(start, px, py), {px, py}, nodes))
            << nodes.name << ", point " << px << " " << py << ", start " << start;
  });
}

std::vector<i4> sorted_index(const std::vector<r8>& keys) {
  std::vector<i4> ind(keys.size());
  sort_index(static_cast<i4>(keys.size()), view(keys), view(ind));
  return ind;
}

TEST(NodeSort, HasTheIndexOfTheStepsForEqualKeysToo) {
  std::mt19937 generator(3);
  for (const unsigned different : {1u, 2u, 3u, 10u, 1000u, 1u << 30})
    for (std::size_t n = 0; n < 4 * rounds; ++n) {
      std::vector<r8> keys(n);
      for (r8& key : keys) key = static_cast<r8>(generator() % different);
      EXPECT_EQ(sorted_index(keys), slow_sort_index(keys)) << n << " keys below " << different;
    }
}

TEST(NodeSort, HasTheIndexOfTheStepsForLongOrderedRuns) {
  for (const std::size_t n : {999u, 1000u, 4097u, 30000u}) {
    std::vector<r8> keys(n);
    for (const std::size_t period :
         {n, std::size_t{1}, std::size_t{2}, std::size_t{11}, std::size_t{12}, n / 2}) {
      for (std::size_t i = 0; i < n; ++i) keys[i] = static_cast<r8>(i % period);
      EXPECT_EQ(sorted_index(keys), slow_sort_index(keys)) << n << " keys, period " << period;
      std::reverse(keys.begin(), keys.end());
      EXPECT_EQ(sorted_index(keys), slow_sort_index(keys)) << n << " keys, reversed, period " << period;
    }
  }
}

}  // namespace
}  // namespace velko::test
