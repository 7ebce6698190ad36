// Tables of small triangulations, worked out by hand from the steps; larger ones are compared in
// properties_test.cpp.
#include "topography/triangulation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "tests/topography/built_table.h"
#include "tests/topography/node_sets.h"
#include "topography/triangulation_check.h"

namespace velko::test {

void PrintTo(const flat_table& table, std::ostream* out) {
  *out << "status " << table.status << ", adj_list " << testing::PrintToString(table.adj_list) << ", adj_end "
       << testing::PrintToString(table.adj_end);
}

namespace {

using testing::StartsWith;
using lists = std::vector<std::vector<i4>>;

/// The table with these lists, of node 1 on.
flat_table table_of(const lists& of_nodes) {
  flat_table table;
  for (const std::vector<i4>& of_node : of_nodes) {
    table.adj_list.insert(table.adj_list.end(), of_node.begin(), of_node.end());
    table.adj_end.push_back(static_cast<i4>(table.adj_list.size()));
  }
  return table;
}

TEST(Triangulation, OfThreeNodesIsTheFirstFanAlone) {
  EXPECT_EQ(built({0, 1, 0}, {0, 0, -1}), table_of({{3, 2, 0}, {1, 3, 0}, {2, 1, 0}}));
}

TEST(Triangulation, ReversesTheChainForANodeToItsLeft) {
  EXPECT_EQ(built({0, 1, 0}, {0, 0, 1}), table_of({{2, 3, 0}, {3, 1, 0}, {1, 2, 0}}));
}

TEST(Triangulation, FansALongLineOutFromTheFirstNodeOffIt) {
  EXPECT_EQ(built({0, 1, 2, 3, 1}, {0, 0, 0, 0, 1}),
            table_of({{2, 5, 0}, {3, 5, 1, 0}, {4, 5, 2, 0}, {5, 3, 0}, {1, 2, 3, 4, 0}}));
}

TEST(Triangulation, OfNodesOnOneLineGivesTheirOrderAlongIt) {
  const flat_table table =
      built({1, 3, 0, 5, 2}, {0, 0, 0, 0, 0});  // then left of all, right of all, in between
  EXPECT_EQ(table.status, 2);
  EXPECT_EQ(table.adj_end, (std::vector<i4>{3, 1, 5, 2, 4}));
}

TEST(Triangulation, OfNodesOnALineThatFloatsTakeForATriangleGivesTheirOrderToo) {
  // On y = 3 x, without rounding; the differences of the coordinates round.
  const std::vector<r8> x{0x1.1cc37b0ce96c4p-1, 0x1.c5e7e02bf3a2p-8, 0x1.ff8b9162b352p-7,
                          0x1.9b41ca8d55eep-2};
  std::vector<r8> y;
  for (const r8 v : x) y.push_back(3 * v);
  const flat_table table = built(x, y);
  EXPECT_EQ(table.status, 2);
  EXPECT_EQ(table.adj_end, (std::vector<i4>{1, 4, 3, 2}));
}

TEST(Triangulation, PutsANodeAheadOfTheLeftEndThatItRepeats) {
  const flat_table table = built({0, 1, 0}, {0, 0, 0});
  EXPECT_EQ(table.status, 2);
  EXPECT_EQ(table.adj_end, (std::vector<i4>{3, 1, 2}));
}

TEST(Triangulation, PutsNodesOfALineInOrderBeforeTheFan) {
  EXPECT_EQ(built({1, 3, 0, 5, 2, 2}, {0, 0, 0, 0, 0, -1}),
            table_of({{3, 6, 5, 0}, {5, 6, 4, 0}, {6, 1, 0}, {2, 6, 0}, {1, 6, 2, 0}, {4, 2, 5, 1, 3, 0}}));
}

TEST(Triangulation, OfFewerThanThreeNodesLeavesTheTables) {
  EXPECT_EQ(built({}, {}).status, 1);
  EXPECT_EQ(built({1}, {1}).status, 1);
  EXPECT_EQ(built({1, 2}, {1, 2}).status, 1);
}

TEST(Triangulation, KeepsTheDiagonalMadeFirstInASquare) {
  EXPECT_EQ(built({0, 0, 1, 1}, {0, 1, 0, 1}), table_of({{3, 2, 0}, {1, 3, 4, 0}, {4, 2, 1, 0}, {2, 3, 0}}));
}

TEST(Triangulation, SwapsTheDiagonalOfAFlatQuadrilateral) {
  // The diagonal 2-3 is made first; nodes 1 and 4, close together, look at it under obtuse angles.
  EXPECT_EQ(built({0, 1, 1, 2}, {0, 3, -3, 0}), table_of({{3, 4, 2, 0}, {1, 4, 0}, {4, 1, 0}, {2, 1, 3, 0}}));
}

TEST(Triangulation, EntersANodeInsideATriangle) {
  EXPECT_EQ(built({0, 4, 0, 1}, {0, 0, 4, 1}),
            table_of({{2, 4, 3, 0}, {3, 4, 1, 0}, {1, 4, 2, 0}, {1, 2, 3}}));
}

TEST(Triangulation, TurnsTheBoundaryNodesInSightIntoInteriorOnes) {
  EXPECT_EQ(
      built({0, 1, 2, 3, 1, 1.5}, {0, 0, 0, 0, 1, -1}),
      table_of({{6, 2, 5, 0}, {3, 5, 1, 6}, {4, 5, 2, 6}, {5, 3, 6, 0}, {1, 2, 3, 4, 0}, {4, 3, 2, 1, 0}}));
}

TEST(Triangulation, RefusesCoordinatesThatAreNotFinite) {
  for (const r8 value : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
    EXPECT_EQ(built({0, 1, value}, {0, 0, 1}).status, 3);
    EXPECT_EQ(built({0, 1, 0, 1}, {0, value, 1, 1}).status, 3);
  }
}

TEST(Triangulation, RefusesMoreNodesThanPositionsOf32BitsCanNumber) {
  i4 status = untouched;
  build_triangulation(357'913'943, {}, {}, {}, {}, status);
  EXPECT_EQ(status, 3);
}

/// Products of such coordinates overflow in floats.
TEST(Triangulation, OfHugeCoordinatesIsThatOfTheSameNodesInSmall) {
  for (const r8 scale : {0x1p240, 0x1p260, 0x1p600, 0x1p1000})
    for (unsigned seed = 1; seed <= 20; ++seed) {
      const node_set nodes = make_nodes(kind::crowded, order::sorted, 40, seed);
      node_set huge = nodes;
      for (r8& x : huge.x) x *= scale;
      for (r8& y : huge.y) y *= scale;
      EXPECT_EQ(built(huge.x, huge.y), built(nodes.x, nodes.y)) << nodes.name;
    }
}

/// They are the caller's to remove; but whatever comes of them, the lists fit together.
TEST(Triangulation, OfRepeatedNodesHasListsThatFitOrNone) {
  std::mt19937 generator(3);
  for (int set = 0; set < 500; ++set) {
    std::vector<r8> x(3 + generator() % 30), y(x.size());
    for (r8& value : x) value = static_cast<r8>(generator() % 4);
    for (r8& value : y) value = static_cast<r8>(generator() % 4);
    const flat_table table = built(x, y);
    if (table.status == 0) {
      EXPECT_EQ(check_table(static_cast<i4>(x.size()), view(table.adj_list), view(table.adj_end)), "");
    }
  }
}

TEST(AddNode, MakesTheTableOfTheNextNode) {
  for (unsigned seed = 1; seed <= 50; ++seed) {
    const node_set nodes = make_nodes(kind::scattered, order::shuffled, 30, seed);
    const flat_table all = built(nodes.x, nodes.y);
    const auto but_last = [](std::vector<r8> v) {
      v.pop_back();
      return v;
    };
    flat_table table = built(but_last(nodes.x), but_last(nodes.y));
    table.adj_list.resize(6 * nodes.x.size() - 9);
    table.adj_end.resize(nodes.x.size());
    add_node(nodes.n(), view(nodes.x), view(nodes.y), view(table.adj_list), view(table.adj_end),
             table.status);
    table.adj_list.resize(static_cast<std::size_t>(table.adj_end.back()));
    EXPECT_EQ(table, all) << nodes.name;
  }
}

TEST(AddNode, LeavesTablesAloneWhoseNodesAllLieOnOneLine) {
  const flat_table line = table_of({{2, 3, 0}, {3, 1, 0}, {1, 2, 0}, {untouched}});
  flat_table table = line;
  const std::vector<r8> x{0, 1, 2, 3}, y{0, 0, 0, 0};
  add_node(4, view(x), view(y), view(table.adj_list), view(table.adj_end), table.status);
  EXPECT_EQ(table.status, 1);
  EXPECT_EQ(table.adj_list, line.adj_list);
  EXPECT_EQ(table.adj_end, line.adj_end);
}

/// A table under the operations of one step each.
struct stepwise {
  const node_set& nodes;
  flat_table table;

  array1<i4> list() { return view(table.adj_list); }
  array1<i4> end() { return view(table.adj_end); }
  i4 first(i4 k) { return k == 1 ? 1 : end()(k - 1) + 1; }

  void enter(i4 k) {
    const place_found at = located(k - 1, nodes.x[static_cast<std::size_t>(k - 1)],
                                   nodes.y[static_cast<std::size_t>(k - 1)], nodes.x, nodes.y, table);
    if (at.i3 != 0)
      add_interior_node(k, at.i1, at.i2, at.i3, list(), end());
    else
      add_boundary_node(k, at.i1, at.i2, list(), end());
    swap_around(k);
  }

  /// The node across the arc o1-o2; 0 for a boundary arc.
  i4 across(i4 o1, i4 o2) {
    const i4 p = neighbor_index(o2, o1, list(), end());
    return list()(p == first(o2) ? end()(o2) : p - 1);
  }

  void swap_around(i4 k) {
    i4 f = first(k), c = f + 1;
    const i4 e = end()(k), a = list()(f);
    for (i4 o2 = a, o1 = list()(c);;) {
      const i4 w = across(o1, o2);
      if (w != 0 && swap_test(w, k, o1, o2, view(nodes.x), view(nodes.y))) {
        swap_diagonal(w, k, o1, o2, list(), end());
        --f;
        --c;
        o1 = w;
        continue;
      }
      if (o1 == a) return;
      o2 = o1;
      c = c == e ? f : c + 1;
      o1 = list()(c);
      if (o1 == 0) return;
    }
  }
};

/// A node enters the table at once, with all swaps that follow; one by one they give the same, to the entry.
TEST(Triangulation, IsThatOfItsSingleSteps) {
  for (const kind k : kinds)
    for (const order o : orders)
      for (unsigned seed = 1; seed <= 5; ++seed) {
        const node_set nodes = make_nodes(k, o, 40, seed);
        const flat_table all = built(nodes.x, nodes.y);
        if (all.status != 0) continue;
        i4 fan = 3;
        const auto leading = [&](const std::vector<r8>& v) {
          return std::vector<r8>(v.begin(), v.begin() + fan);
        };
        while (built(leading(nodes.x), leading(nodes.y)).status != 0) ++fan;
        stepwise steps{nodes, built(leading(nodes.x), leading(nodes.y))};
        steps.table.adj_list.resize(6 * nodes.x.size() - 9);
        steps.table.adj_end.resize(nodes.x.size());
        for (i4 node = fan + 1; node <= nodes.n(); ++node) steps.enter(node);
        steps.table.adj_list.resize(static_cast<std::size_t>(steps.table.adj_end.back()));
        EXPECT_EQ(steps.table, all) << nodes.name;
      }
}

TEST(SwapTest, KeepsTheDiagonalOfFourNodesOnACircle) {
  const std::vector<r8> x{0, 1, 1, 0}, y{0, 0, 1, 1};
  EXPECT_FALSE(swap_test(1, 3, 2, 4, view(x), view(y)));
  EXPECT_FALSE(swap_test(2, 4, 3, 1, view(x), view(y)));
  const std::vector<r8> ring_x{5, 3, -4, 0}, ring_y{0, 4, 3, -5};  // one angle acute, one obtuse
  EXPECT_FALSE(swap_test(1, 3, 2, 4, view(ring_x), view(ring_y)));
  EXPECT_FALSE(swap_test(2, 4, 3, 1, view(ring_x), view(ring_y)));
}

/// With io1 and io2 the wrong way round the sines change their signs, and the answer stays.
TEST(SwapTest, GoesByTheCosinesAloneWhereTheyTell) {
  const std::vector<r8> x{0, 1, 1, 2}, y{0, 3, -3, 0};
  EXPECT_TRUE(swap_test(1, 4, 2, 3, view(x), view(y)));
  EXPECT_FALSE(swap_test(2, 3, 4, 1, view(x), view(y)));
}

TEST(SwapTest, AsksWhetherOppositeAnglesExceedAStraightOne) {
  const std::vector<r8> x{0, 1, 1, 2}, y{0, 3, -3, 0};
  EXPECT_TRUE(swap_test(1, 4, 3, 2, view(x), view(y)));   // both obtuse
  EXPECT_FALSE(swap_test(2, 3, 1, 4, view(x), view(y)));  // both acute
  const std::vector<r8> kite_x{0, 1, 1, 2}, kite_y{0, 1.25, -1.25, 0}, dart_y{0, 0.75, -0.75, 0};
  EXPECT_TRUE(swap_test(1, 4, 3, 2, view(kite_x), view(kite_y)));
  EXPECT_FALSE(swap_test(1, 4, 3, 2, view(kite_x), view(dart_y)));
  const std::vector<r8> bent_x{0, 1, 1, 4},
      bent_y{0, 2, -2, 0};  // obtuse at 1, acute at 4: 127 and 67 degrees
  EXPECT_TRUE(swap_test(1, 4, 3, 2, view(bent_x), view(bent_y)));
  const std::vector<r8> far_x{0, 1, 1, 5};  // 127 and 53
  EXPECT_FALSE(swap_test(1, 4, 3, 2, view(far_x), view(bent_y)));
}

/// The lists of the square, and those after the swap, for every way to number its corners.
TEST(SwapDiagonal, ChangesFourListsInWhateverOrderTheyStand) {
  const lists before{{3, 2, 0}, {1, 3, 4, 0}, {4, 2, 1, 0}, {2, 3, 0}};
  const lists behind{{3, 4, 2, 0}, {1, 4, 0}, {4, 1, 0}, {2, 1, 3, 0}};
  std::array<i4, 5> name{0, 1, 2, 3, 4};
  do {
    const auto renamed = [&](const lists& of_nodes) {
      lists result(4);
      for (std::size_t k = 1; k <= 4; ++k)
        for (const i4 entry : of_nodes[k - 1])
          result[static_cast<std::size_t>(name[k] - 1)].push_back(name[static_cast<std::size_t>(entry)]);
      return table_of(result);
    };
    for (const auto& [in1, in2, io1, io2] : {std::array{1, 4, 3, 2}, std::array{4, 1, 2, 3}}) {
      flat_table table = renamed(before);
      const auto named = [&](int k) { return name[static_cast<std::size_t>(k)]; };
      swap_diagonal(named(in1), named(in2), named(io1), named(io2), view(table.adj_list),
                    view(table.adj_end));
      EXPECT_EQ(table, renamed(behind)) << testing::PrintToString(name);
    }
  } while (std::next_permutation(name.begin() + 1, name.end()));
}

/// Two triangles inside a net: the circles of the two nodes that gain are open just where the swap brings an entry in. It
/// comes in front where the node that loses, the smaller for the smaller or the larger for the larger, stands in front.
TEST(SwapDiagonal, BringsAnEntryToTheSideOfAnOpenCircleThatTheTableMovesTo) {
  std::array<i4, 4> name{1, 2, 3, 4};
  do {
    const auto [in1, in2, io1, io2] = name;
    lists before(5), behind(5);
    const auto list = [](lists & of_nodes, i4 k) -> auto& {
      return of_nodes[static_cast<std::size_t>(k - 1)];
    };
    list(before, in1) = {io2, 5, io1};
    list(before, in2) = {io1, 5, io2};
    list(before, io1) = {io2, in1, 5, in2};
    list(before, io2) = {in1, io1, in2, 5};
    list(before, 5) = {in1, io1, in2, io2};
    behind = before;
    list(behind, io1) = {in1, 5, in2};
    list(behind, io2) = {in1, in2, 5};
    const auto gain = [&](i4 node, i4 entering, bool in_front) {
      auto& entries = list(behind, node);
      entries.insert(in_front ? entries.begin() : entries.end(), entering);
    };
    const auto [a1, a2] = std::minmax({in1, in2});
    const auto [b1, b2] = std::minmax({io1, io2});
    gain(a1, a2, b1 < a1);
    gain(a2, a1, b2 < a2);
    flat_table table = table_of(before);
    swap_diagonal(in1, in2, io1, io2, view(table.adj_list), view(table.adj_end));
    table.adj_list.resize(static_cast<std::size_t>(table.adj_end.back()));
    EXPECT_EQ(table, table_of(behind)) << testing::PrintToString(name);
  } while (std::next_permutation(name.begin(), name.end()));
}

TEST(NeighborIndex, IsThePositionInTheTable) {
  const flat_table table = table_of({{3, 2, 0}, {1, 3, 0}, {2, 1, 0}});
  EXPECT_EQ(neighbor_index(1, 3, view(table.adj_list), view(table.adj_end)), 1);
  EXPECT_EQ(neighbor_index(2, 3, view(table.adj_list), view(table.adj_end)), 5);
  EXPECT_EQ(neighbor_index(3, 0, view(table.adj_list), view(table.adj_end)), 9);
}

TEST(ShiftRange, MovesAStretchOverItselfUpAndDown) {
  std::vector<i4> up{1, 2, 3, 4, 5, 0, 0}, down{0, 0, 1, 2, 3, 4, 5};
  shift_range(1, 5, 2, view(up));
  EXPECT_EQ(up, (std::vector<i4>{1, 2, 1, 2, 3, 4, 5}));
  shift_range(3, 7, -2, view(down));
  EXPECT_EQ(down, (std::vector<i4>{1, 2, 3, 4, 5, 4, 5}));
}

TEST(ShiftRange, LeavesAnEmptyStretchAndOneThatStays) {
  std::vector<i4> a{1, 2, 3};
  shift_range(3, 2, 100, view(a));
  shift_range(1, 3, 0, view(a));
  EXPECT_EQ(a, (std::vector<i4>{1, 2, 3}));
}

/// The square, with one thing wrong.
struct spoiled_square {
  lists of_nodes{{3, 2, 0}, {1, 3, 4, 0}, {4, 2, 1, 0}, {2, 3, 0}};
  std::vector<r8> x{0, 0, 1, 1}, y{0, 1, 0, 1};

  spoiled_square& list(i4 k, std::vector<i4> entries) {
    of_nodes[static_cast<std::size_t>(k - 1)] = std::move(entries);
    return *this;
  }
  spoiled_square& node(i4 k, r8 px, r8 py) {
    x[static_cast<std::size_t>(k - 1)] = px;
    y[static_cast<std::size_t>(k - 1)] = py;
    return *this;
  }
  std::string check() const {
    const flat_table table = table_of(of_nodes);
    return check_triangulation(4, view(x), view(y), view(table.adj_list), view(table.adj_end));
  }
};

TEST(CheckTriangulation, TellsTheInvariantThatIsBroken) {
  EXPECT_EQ(spoiled_square{}.check(), "");
  EXPECT_THAT(spoiled_square{}.list(2, {}).check(), StartsWith("(1)"));
  EXPECT_THAT(spoiled_square{}.list(2, {1, 3, 1, 4, 0}).check(), StartsWith("(2)"));  // twice
  EXPECT_THAT(spoiled_square{}.list(1, {3, 4, 2, 0}).check(), StartsWith("(2)"));     // 4 does not know 1
  EXPECT_THAT(spoiled_square{}.list(2, {1, 0, 4, 0}).check(), StartsWith("(3)"));
  EXPECT_THAT(spoiled_square{}.list(2, {1, 3, 5, 0}).check(), StartsWith("(3)"));
  EXPECT_THAT(spoiled_square{}.list(2, {1, 3, 2, 0}).check(), StartsWith("(3)"));
  EXPECT_THAT(spoiled_square{}.list(2, {3, 4, 1, 0}).check(), StartsWith("(5)"));
  EXPECT_THAT(spoiled_square{}.list(2, {1, 3, 4}).check(), StartsWith("(5)"));
  EXPECT_THAT(spoiled_square{}.list(1, {3, 0}).check(), StartsWith("(5)"));
  EXPECT_THAT(spoiled_square{}.node(4, 0.25, 0.25).check(), StartsWith("(6)"));  // a triangle turned over
  EXPECT_THAT(spoiled_square{}.node(1, 0.5, 0.5).check(), StartsWith("(6)"));    // one without area
  EXPECT_EQ(spoiled_square{}.node(1, -1, -1).check(), "");
  EXPECT_THAT(spoiled_square{}.node(4, 0.75, 0.75).check(), StartsWith("(7)"));
}

TEST(CheckTriangulation, TellsABoundaryThatIsNotConvex) {
  // Nodes 1, 2, 3 and the dent 4 between 2 and 3: two triangles, both counterclockwise.
  const std::vector<r8> x{0, 4, 4, 3}, y{0, -4, 4, 0};
  const flat_table table = table_of({{2, 4, 3, 0}, {4, 1, 0}, {1, 4, 0}, {3, 1, 2, 0}});
  EXPECT_THAT(check_triangulation(4, view(x), view(y), view(table.adj_list), view(table.adj_end)),
              StartsWith("(6) node 4: a boundary"));
}

TEST(CheckTriangulation, TellsASurfaceThatHasNoBoundaryOrTwo) {
  const flat_table closed = table_of({{2, 3, 4}, {1, 4, 3}, {1, 2, 4}, {1, 3, 2}});
  EXPECT_THAT(check_table(4, view(closed.adj_list), view(closed.adj_end)), StartsWith("(3)"));
  const flat_table with_a_hole = table_of(
      {{2, 5, 4, 3, 0}, {3, 6, 5, 1, 0}, {1, 4, 6, 2, 0}, {6, 3, 1, 5, 0}, {4, 1, 2, 6, 0}, {5, 2, 3, 4, 0}});
  EXPECT_THAT(check_table(6, view(with_a_hole.adj_list), view(with_a_hole.adj_end)), StartsWith("(4)"));
}

TEST(CheckTriangulation, TellsTablesTooShortToBeOne) {
  const flat_table table = table_of({{2, 3, 0}, {3, 1, 0}, {1, 2, 0}});
  EXPECT_THAT(check_table(2, view(table.adj_list), view(table.adj_end)), StartsWith("(1)"));
  EXPECT_THAT(check_table(4, view(table.adj_list), view(table.adj_end)), StartsWith("(1)"));
}

}  // namespace
}  // namespace velko::test
