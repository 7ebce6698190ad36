/// The walk through a triangulation to the triangle that contains a point, or to the hull seen from it.
///
/// What     1 the wedge: a node n0, turned round until the point lies between two neighbours n1 and n2 of it
///          2 the crossing: triangle by triangle along the ray from n0 to the point
///          3 the hull walk, where the point lies outside: both ways along the boundary while its arcs are
///          visible
/// Tests    the same steps run with rounded_tests and with exact_tests
/// Bounds   rounding can lead a walk in a circle. It is given up when it has looked at more arcs than the
///          table has, or when it has come round the whole hull; then it has no result. It reads the table of
///          a triangulation, whose lists fit together, within its bounds, however wrongly the tests may come
///          out
/// Letters  n0 where the ray begins; (n1, n2, n3) the triangle that it crosses, n1-n2 the arc where it leaves
///          it, n4 the node beyond; nf and nl the first and the last neighbour of n0; p a position in its
///          list
#pragma once

#include <algorithm>
#include <optional>

#include "topography/adjacency_table.h"
#include "topography/geometry.h"

namespace velko {

/// Where a point lies: in the triangle (i1, i2, i3), counterclockwise; or, with i3 = 0, outside, with i1 the
/// first (rightmost) and i2 the last (leftmost) boundary node visible; or, all 0, on one line with all nodes
/// visited.
struct point_location {
  i4 i1, i2, i3;
};

template <class tests>
class walk_to_point {
 public:
  walk_to_point(point p, node_points nodes, neighbour_lists lists)
      : p_(p), nodes_(nodes), lists_(lists), arcs_left_(lists.adj_list.size()) {}

  /// Nothing where the walk is given up.
  std::optional<point_location> from(i4 start) {
    i4 n0 = std::max(start, 1);
    while (arcs_left_ > 0) {
      const look seen = look_round(n0);
      switch (seen.result) {
        case look::wedge:
          return cross_triangles(n0, seen.n1, seen.n2);
        case look::beyond_first_arc:
          return walk_hull(seen.n1, n0);
        case look::beyond_last_arc:
          return point_location{n0, last_visible(seen.n1), 0};
        case look::better_node:
          n0 = seen.n1;
          break;
        case look::all_on_one_line:
          return point_location{0, 0, 0};
      }
    }
    return {};
  }

 private:
  /// What a look round a node shows.
  struct look {
    enum { wedge, beyond_first_arc, beyond_last_arc, better_node, all_on_one_line } result;
    i4 n1 = 0, n2 = 0;
  };

  bool left(i4 a, i4 b) const { return tests::left(nodes_(a), nodes_(b), p_); }

  look look_round(i4 n0) {
    const i4 first = lists_.first(n0);
    i4 p = first;
    const i4 nf = lists_(p);
    i4 nl = lists_(lists_.last(n0));
    arcs_left_ -= lists_.last(n0) - first;
    if (nl == 0) {
      nl = lists_.previous_on_boundary(n0);
      if (!left(n0, nf)) return {look::beyond_first_arc, nf};
      if (!left(nl, n0)) return {look::beyond_last_arc, nl};
    } else {
      // The first arc with the point to its left; the last one needs no look, for then the wedge lies behind
      // it.
      i4 n1 = nf;
      while (!left(n0, n1)) {
        n1 = lists_(++p);
        if (n1 == nl) return {look::wedge, nl, nf};
      }
    }
    // The last arc with the point to its left.
    i4 n1 = lists_(p);
    while (n1 != nl) {
      const i4 n2 = lists_(++p);
      if (!left(n0, n2)) return {look::wedge, n1, n2};
      n1 = n2;
    }
    if (!left(n0, nf)) return {look::wedge, nl, nf};
    return look_from_node_or_line(n0, nl, p);
  }

  /// The point is left of every arc from n0: it is n0 itself, or on one line with n0 and a neighbour.
  look look_from_node_or_line(i4 n0, i4 nl, i4 p) const {
    const point at = nodes_(n0);
    if (p_.x == at.x && p_.y == at.y) return {look::better_node, nl};
    for (const i4 first = lists_.first(n0); p >= first; --p)
      if (!left(lists_(p), n0)) return {look::better_node, lists_(p)};
    return {look::all_on_one_line};
  }

  /// The point lies in the wedge from n0 between n1 and n2.
  std::optional<point_location> cross_triangles(i4 n0, i4 n1, i4 n2) {
    i4 n3 = n0;
    while (!left(n1, n2)) {
      if (--arcs_left_ < 0) return {};
      const i4 n4 = node_beyond(n1, n2);
      if (n4 == 0) return walk_hull(n2, n1);
      if (left(n0, n4)) {  // the ray passes between n4 and n2
        n3 = n1;
        n1 = n4;
      } else {
        n3 = n2;
        n2 = n4;
      }
    }
    return in_triangle(n1, n2, n3);
  }

  /// The vertex across the arc from n1 to n2; 0 where that arc lies on the boundary.
  i4 node_beyond(i4 n1, i4 n2) const {
    const i4 p = neighbor_index(n2, n1, lists_.adj_list, lists_.adj_end);
    return lists_(p == lists_.last(n2) ? lists_.first(n2) : p + 1);
  }

  /// The point lies in this triangle; but exactly on a boundary arc at n1 it counts as outside.
  point_location in_triangle(i4 n1, i4 n2, i4 n3) const {
    if (lists_.on_boundary(n1)) {
      if (n3 == lists_.previous_on_boundary(n1) && left(n1, n3)) return {n1, n3, 0};
      if (n2 == lists_.next_on_boundary(n1) && left(n2, n1)) return {n2, n1, 0};
    }
    return {n1, n2, n3};
  }

  /// The boundary arc from `behind` to `ahead`, counterclockwise, is visible, and so may be others next to
  /// it.
  std::optional<point_location> walk_hull(i4 ahead, i4 behind) const {
    const i4 nobody_sees_all = behind;
    for (i4 next = lists_.next_on_boundary(ahead); !left(ahead, next);
         next = lists_.next_on_boundary(ahead)) {
      ahead = next;
      if (ahead == nobody_sees_all) return {};
    }
    return point_location{ahead, last_visible(behind), 0};
  }

  /// Back from a along the boundary. It ends at the latest at the arc that ended the walk ahead.
  i4 last_visible(i4 a) const {
    for (i4 b = lists_.previous_on_boundary(a); !left(b, a); b = lists_.previous_on_boundary(a)) a = b;
    return a;
  }

  point p_;
  node_points nodes_;
  neighbour_lists lists_;
  i8 arcs_left_;
};

}  // namespace velko
