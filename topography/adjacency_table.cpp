#include "topography/adjacency_table.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <utility>

namespace velko {
namespace {

/// The lists of nodes from..to end `by` places further on.
void move_ends(i4 from, i4 to, i4 by, array1<i4> adj_end) {
  for (i4& end : adj_end.elements().subspan(static_cast<std::size_t>(from - 1),
                                            static_cast<std::size_t>(to - from + 1)))
    end += by;
}

/// A node that enters the list of another one, at a position of the table as it was before.
struct entry_place {
  i4 node, position;
  bool operator>(const entry_place& other) const { return node > other.node; }
};

/// Takes `leaving` out of the list of `from`, and puts `entering` into the list of `to` between two entries that follow
/// each other there. All that stands in between moves over by one place.
void trade_place(i4 from, i4 leaving, i4 to, i4 entering, std::pair<i4, i4> between, array1<i4> adj_list,
                 array1<i4> adj_end) {
  const i4 gap = neighbor_index(from, leaving, adj_list, adj_end);
  if (from < to) {
    const i4 place = neighbor_index(to, between.second, adj_list, adj_end) - 1;
    shift_range(gap + 1, place, -1, adj_list);
    adj_list(place) = entering;
    move_ends(from, to - 1, -1, adj_end);
  } else {
    const i4 place = neighbor_index(to, between.first, adj_list, adj_end) + 1;
    shift_range(place, gap - 1, 1, adj_list);
    adj_list(place) = entering;
    move_ends(to, from - 1, 1, adj_end);
  }
}

}  // namespace

i4 neighbor_index(i4 node, i4 neighbour, array1<const i4> adj_list, array1<const i4> adj_end) {
  i4 p = adj_end(node);
  while (adj_list(p) != neighbour) --p;
  return p;
}

void shift_range(i4 first, i4 last, i4 by, array1<i4> a) {
  if (by == 0 || first > last) return;
  std::memmove(&a(first + by), &a(first), static_cast<std::size_t>(last - first + 1) * sizeof(i4));
}

void write_fan(i4 k, array1<i4> adj_list, array1<i4> adj_end) {
  const i4 m = k - 1;
  const i4 nl = adj_end(1), nr = adj_end(m);
  // The two ends of the line have three entries, each node between them four.
  for (i4 p = 1; p <= m; ++p) {
    const i4 q = adj_end(p);
    i4 t = 4 * q - (q >= nl ? 1 : 0) - (q >= nr ? 1 : 0);
    adj_list(t) = 0;
    if (p < m) adj_list(--t) = adj_end(p + 1);
    adj_list(--t) = k;
    if (p > 1) adj_list(--t) = adj_end(p - 1);
  }
  const i4 last = 5 * m - 1;
  adj_list(last) = 0;
  for (i4 p = 1; p <= m; ++p) adj_list(last - p) = adj_end(p);

  i4 t = 0;
  for (i4 p = 1; p <= m; ++p) adj_end(p) = t += p == nl || p == nr ? 3 : 4;
  adj_end(k) = t + k;
}

void add_interior_node(i4 k, i4 i1, i4 i2, i4 i3, array1<i4> adj_list, array1<i4> adj_end) {
  // Between its neighbours of the triangle, k stands directly behind the one that comes first.
  const auto behind = [&](i4 node, i4 next) {
    return entry_place{node, neighbor_index(node, next, adj_list, adj_end) + 1};
  };
  std::array<entry_place, 3> places{behind(i1, i2), behind(i2, i3), behind(i3, i1)};
  std::sort(places.begin(), places.end(), std::greater<>{});

  // From the top of the table down, each stretch moves once, past all the entries that come below it.
  i4 end_node = k - 1, end_position = adj_end(k - 1), by = 3;
  for (const auto [node, position] : places) {
    shift_range(position, end_position, by, adj_list);
    adj_list(position + by - 1) = k;
    move_ends(node, end_node, by, adj_end);
    end_node = node - 1;
    end_position = position - 1;
    --by;
  }
  const i4 t = adj_end(k - 1);
  adj_list(t + 1) = i1;
  adj_list(t + 2) = i2;
  adj_list(t + 3) = i3;
  adj_end(k) = t + 3;
}

void add_boundary_node(i4 k, i4 i1, i4 i2, array1<i4> adj_list, array1<i4> adj_end) {
  // k enters the list of i1 ahead of its 0, and the list of i2 at its head.
  const auto [lower, upper] =
      std::minmax({entry_place{i1, adj_end(i1)}, entry_place{i2, i2 == 1 ? 1 : adj_end(i2 - 1) + 1}},
                  [](auto a, auto b) { return a.node < b.node; });
  shift_range(upper.position, adj_end(k - 1), 2, adj_list);
  adj_list(upper.position + 1) = k;
  move_ends(upper.node, k - 1, 2, adj_end);
  shift_range(lower.position, upper.position - 1, 1, adj_list);
  adj_list(lower.position) = k;
  move_ends(lower.node, upper.node - 1, 1, adj_end);

  // The neighbours of k: back along the boundary from i1 to i2. What lies between them sees k in place of the outside.
  i4 t = adj_end(k - 1) + 1;
  adj_list(t) = i1;
  for (i4 w = adj_list(adj_end(i1) - 2); w != i2; w = adj_list(adj_end(w) - 1)) {
    adj_list(++t) = w;
    adj_list(adj_end(w)) = k;
  }
  adj_list(++t) = i2;
  adj_list(++t) = 0;
  adj_end(k) = t;
}

void swap_diagonal(i4 in1, i4 in2, i4 io1, i4 io2, array1<i4> adj_list, array1<i4> adj_end) {
  const auto [a1, a2] = std::minmax(in1, in2);
  const auto [b1, b2] = std::minmax(io1, io2);
  // Counterclockwise, io1 comes before io2 around in1, and io2 before io1 around in2.
  std::pair<i4, i4> between = in1 < in2 ? std::pair(io1, io2) : std::pair(io2, io1);
  trade_place(b1, b2, a1, a2, between, adj_list, adj_end);
  std::swap(between.first, between.second);
  trade_place(b2, b1, a2, a1, between, adj_list, adj_end);
}

}  // namespace velko
