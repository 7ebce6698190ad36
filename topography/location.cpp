#include "topography/location.h"

#include <cmath>
#include <compare>
#include <optional>

#include "topography/exact_tests.h"
#include "topography/walk.h"

namespace velko {
namespace {

/// A triangulation and the surface over it, to be read.
struct surface {
  node_points nodes;
  array1<const r8> z;
  neighbour_lists lists;
};

/// A ray along a line of nodes can end in a triangle far beside the point: the tests at the node where it
/// begins and those of the arcs that it crosses may contradict one another by rounding. A place that misses
/// the point by rounding only is as good as any.
bool misses_clearly(point p, const point_location& at, node_points nodes, neighbour_lists lists) {
  const auto beyond = [&](i4 a, i4 b) {
    return !rounded_tests::left(nodes(a), nodes(b), p) && exact_tests::clearly_right(nodes(a), nodes(b), p);
  };
  if (at.i3 != 0) return beyond(at.i1, at.i2) || beyond(at.i2, at.i3) || beyond(at.i3, at.i1);
  return beyond(at.i1, lists.previous_on_boundary(at.i1)) || beyond(lists.next_on_boundary(at.i2), at.i2);
}

point_location locate(point p, i4 start, node_points nodes, neighbour_lists lists) {
  constexpr point_location nowhere{0, 0, 0};
  if (std::isnan(p.x) || std::isnan(p.y)) return nowhere;
  const std::optional<point_location> found = walk_to_point<rounded_tests>(p, nodes, lists).from(start);
  const bool arrived = found && found->i1 != 0 && !misses_clearly(p, *found, nodes, lists);
  if (arrived || !std::isfinite(p.x) || !std::isfinite(p.y)) return found.value_or(nowhere);
  const std::optional<point_location> truly = walk_to_point<exact_tests>(p, nodes, lists).from(start);
  return truly ? *truly : found.value_or(nowhere);
}

/// Value at the foot of the point on the boundary, which is looked for clockwise from the first visible node
/// a. Nothing where the tests lead round the whole hull.
template <class tests>
std::optional<r8> value_on_boundary(point p, i4 a, const surface& s) {
  const i4 start = a;
  do {
    const i4 b = s.lists.previous_on_boundary(a);
    const point at = s.nodes(a), next = s.nodes(b);
    if (std::is_lteq(tests::cosine(at, p, next))) return s.z(a);
    if (std::is_gt(tests::cosine(next, p, at))) {
      const r8 d = (p.x - at.x) * (next.x - at.x) + (p.y - at.y) * (next.y - at.y);
      const r8 t = d / ((at.x - next.x) * (at.x - next.x) + (at.y - next.y) * (at.y - next.y));
      return t * s.z(b) + (1 - t) * s.z(a);
    }
    a = b;
  } while (a != start);
  return {};
}

/// Barycentric weights in a triangle, each times its area; twice the area, or 0.
struct triangle_weights {
  r8 area, w1, w2, w3;
};

triangle_weights weights_times_area(point p, point p1, point p2, point p3) {
  return {(p3.x - p2.x) * (p1.y - p3.y) - (p1.x - p3.x) * (p3.y - p2.y),
          (p3.x - p2.x) * (p.y - p2.y) - (p3.y - p2.y) * (p.x - p2.x),
          (p1.x - p3.x) * (p.y - p1.y) - (p1.y - p3.y) * (p.x - p1.x),
          (p2.x - p1.x) * (p.y - p1.y) - (p2.y - p1.y) * (p.x - p1.x)};
}

}  // namespace

void locate_point(i4 nst, r8 px, r8 py, array1<const r8> x, array1<const r8> y, array1<const i4> adj_list,
                  array1<const i4> adj_end, i4& i1, i4& i2, i4& i3) {
  const point_location found = locate({px, py}, nst, {x, y}, {adj_list, adj_end});
  i1 = found.i1;
  i2 = found.i2;
  i3 = found.i3;
}

void surface_value(i4 n, r8 px, r8 py, array1<const r8> x, array1<const r8> y, array1<const r8> z,
                   array1<const i4> adj_list, array1<const i4> adj_end, i4& ist, r8& pz, i4& status) {
  pz = 0;
  status = -1;
  if (n < 3 || ist < 1 || ist > n) return;
  const surface s{{x, y}, z, {adj_list, adj_end}};
  const point p{px, py};
  const point_location at = locate(p, ist, s.nodes, s.lists);
  status = -2;
  if (at.i1 == 0) return;
  ist = at.i1;
  if (at.i3 == 0) {
    std::optional<r8> value = value_on_boundary<rounded_tests>(p, at.i1, s);
    if (!value) value = value_on_boundary<exact_tests>(p, at.i1, s);
    if (!value) return;
    pz = *value;
    status = 1;
    return;
  }
  const triangle_weights w = weights_times_area(p, s.nodes(at.i1), s.nodes(at.i2), s.nodes(at.i3));
  if (w.area == 0) return;
  pz = w.w1 / w.area * z(at.i1) + w.w2 / w.area * z(at.i2) + w.w3 / w.area * z(at.i3);
  status = 0;
}

void barycentric_weights(r8 x, r8 y, r8 x1, r8 x2, r8 x3, r8 y1, r8 y2, r8 y3, array1<r8> w, i4& status) {
  const triangle_weights t = weights_times_area({x, y}, {x1, y1}, {x2, y2}, {x3, y3});
  status = t.area == 0 ? 1 : 0;
  if (status != 0) return;
  w(1) = t.w1 / t.area;
  w(2) = t.w2 / t.area;
  w(3) = t.w3 / t.area;
}

}  // namespace velko
