#include "topography/triangulation.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <optional>

#include "topography/exact_tests.h"
#include "topography/first_fan.h"
#include "topography/fold_check.h"
#include "topography/geometry.h"
#include "topography/node_ring.h"
#include "topography/walk.h"

namespace velko {
namespace {

constexpr i4 most_nodes = 357'913'942;  // so that 6 n - 9 is a number of 32 bits

// The tests multiply four differences of coordinates, and add two such products. Up to here nothing
// overflows.
constexpr r8 largest_in_floats = 0x1p250;

enum build_status : i4 { done = 0, too_few = 1, on_one_line = 2, no_triangulation = 3 };

/// Builds the table with one kind of tests.
template <class tests>
class builder {
 public:
  builder(array1<const r8> x, array1<const r8> y, array1<i4> adj_list, array1<i4> adj_end)
      : nodes_{x, y}, adj_list_(adj_list), adj_end_(adj_end) {}

  /// Nothing where the tests contradict one another.
  std::optional<i4> build(i4 n) {
    const i4 apex = chain_up_to_apex<tests>(n, nodes_, adj_end_);
    if (apex == 0) return on_one_line;
    write_fan(apex, adj_list_, adj_end_);
    for (i4 k = apex + 1; k <= n; ++k)
      if (!add(k)) return {};
    return done;
  }

  bool add(i4 k) {
    const std::optional<point_location> at = walk_to_point<tests>(nodes_(k), nodes_, lists()).from(k - 1);
    if (!at || at->i1 == 0) return false;
    if (at->i3 != 0)
      ring_.open_triangle(at->i1, at->i2, at->i3);
    else
      ring_.open_boundary(at->i1, at->i2, lists());
    const point p = nodes_(k);
    const auto swap = [&](i4 w, i4 o1, i4 o2) { return tests::swap(nodes_(w), p, nodes_(o1), nodes_(o2)); };
    return ring_.grow(k, lists(), swap) && ring_.enter(k, adj_list_, adj_end_);
  }

 private:
  neighbour_lists lists() const { return {adj_list_, adj_end_}; }

  node_points nodes_;
  array1<i4> adj_list_, adj_end_;
  node_ring ring_;
};

/// The largest coordinate in size; infinite where one is not a number.
r8 largest(i4 n, array1<const r8> v) {
  r8 most = 0;
  for (i4 k = 1; k <= n; ++k)
    most = std::abs(v(k)) <= most ? most : std::isnan(v(k)) ? HUGE_VAL : std::abs(v(k));
  return most;
}

}  // namespace

void build_triangulation(i4 n, array1<const r8> x, array1<const r8> y, array1<i4> adj_list,
                         array1<i4> adj_end, i4& status) {
  status = n < 3 ? too_few : no_triangulation;
  if (n < 3 || n > most_nodes) return;
  assert(x.size() >= n && y.size() >= n && adj_list.size() >= 6 * i8{n} - 9 && adj_end.size() >= n);
  const r8 size = std::max(largest(n, x), largest(n, y));
  if (std::isinf(size)) return;
  std::optional<i4> result;
  if (size <= largest_in_floats) result = builder<rounded_tests>(x, y, adj_list, adj_end).build(n);
  const bool astray = !result || (result == done && folds_over(n, {x, y}, {adj_list, adj_end}));
  if (astray) result = builder<exact_tests>(x, y, adj_list, adj_end).build(n);
  status = result.value_or(no_triangulation);
}

void add_node(i4 k, array1<const r8> x, array1<const r8> y, array1<i4> adj_list, array1<i4> adj_end,
              i4& status) {
  status = builder<rounded_tests>(x, y, adj_list, adj_end).add(k) ? 0 : 1;
}

bool swap_test(i4 in1, i4 in2, i4 io1, i4 io2, array1<const r8> x, array1<const r8> y) {
  const node_points nodes{x, y};
  return rounded_tests::swap(nodes(in1), nodes(in2), nodes(io1), nodes(io2));
}

}  // namespace velko
