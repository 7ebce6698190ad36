#include "topography/fold_check.h"

#include <cmath>
#include <compare>
#include <numbers>

#include "topography/exact_tests.h"

namespace velko {
namespace {

/// Calls look(a, b) for each triangle (k, a, b), counterclockwise, of the list of k, until one call returns
/// false.
template <class function>
bool for_triangles_of(i4 k, const neighbour_lists& lists, function look) {
  const i4 first = lists.first(k), last = lists.last(k);
  i4 a = lists(last);
  if (a != 0 && !look(a, lists(first))) return false;
  for (i4 p = first; p < last; ++p) {
    a = lists(p);
    const i4 b = lists(p + 1);
    if (b != 0 && !look(a, b)) return false;
  }
  return true;
}

/// Every triangle, seen from its smallest node, and every corner of the boundary.
bool is_sound_without_rounding(i4 n, node_points nodes, neighbour_lists lists) {
  for (i4 k = 1; k <= n; ++k) {
    const bool counterclockwise = for_triangles_of(k, lists, [&](i4 a, i4 b) {
      return k > a || k > b || std::is_gt(exact_tests::side(nodes(k), nodes(a), nodes(b)));
    });
    if (!counterclockwise) return false;
    if (!lists.on_boundary(k)) continue;
    const i4 before = lists.previous_on_boundary(k), behind = lists.next_on_boundary(k);
    if (!exact_tests::left(nodes(before), nodes(k), nodes(behind))) return false;
  }
  return true;
}

r8 angle(point apex, point a, point b) {
  const formula::arrow<r8> u(apex, a), v(apex, b);
  return std::atan2(std::abs(cross(u, v)), dot(u, v));
}

bool folds_at(i4 k, node_points nodes, neighbour_lists lists) {
  constexpr r8 half_turn = std::numbers::pi, allowed = 1e-6;
  r8 around = 0;
  for_triangles_of(k, lists, [&](i4 a, i4 b) {
    around += angle(nodes(k), nodes(a), nodes(b));
    return true;
  });
  if (lists.on_boundary(k)) return around > half_turn + allowed;
  return std::abs(around - 2 * half_turn) > allowed;
}

}  // namespace

bool folds_over(i4 n, node_points nodes, neighbour_lists lists) {
  if (is_sound_without_rounding(n, nodes, lists)) return false;
  for (i4 k = 1; k <= n; ++k)
    if (folds_at(k, nodes, lists)) return true;
  return false;
}

}  // namespace velko
