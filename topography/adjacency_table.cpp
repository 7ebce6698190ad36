#include "topography/adjacency_table.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace velko {
namespace {

/// The lists of nodes from..to end `by` places further on.
void move_ends(i4 from, i4 to, i4 by, array1<i4> adj_end) {
  for (i4& end : adj_end.elements().subspan(static_cast<std::size_t>(from - 1),
                                            static_cast<std::size_t>(to - from + 1)))
    end += by;
}

i4 growth(const splice& change) {
  return (change.entering != 0 ? 1 : 0) - change.removed;
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

void apply_splices(std::span<const splice> changes, i4 last_node, array1<i4> adj_list, array1<i4> adj_end) {
  const i4 end = adj_end(last_node);
  i4 by = 0;
  for (const splice& change : changes) by += growth(change);

  // What moves up moves from the top down, and then what moves down from the bottom up, so that none is
  // overwritten.
  i4 above = end;
  for (std::size_t i = changes.size(); i-- > 0;) {
    const splice& c = changes[i];
    if (by > 0) shift_range(c.position + c.removed, above, by, adj_list);
    above = c.position - 1;
    by -= growth(c);
  }
  for (std::size_t i = 0; i < changes.size(); ++i) {
    const splice& c = changes[i];
    const bool topmost = i + 1 == changes.size();
    const i4 place = c.position + by;
    by += growth(c);
    if (by < 0)
      shift_range(c.position + c.removed, topmost ? end : changes[i + 1].position - 1, by, adj_list);
    if (c.entering != 0) adj_list(place) = c.entering;
    if (by != 0) move_ends(c.node, topmost ? last_node : changes[i + 1].node - 1, by, adj_end);
  }
}

void swap_diagonal(i4 in1, i4 in2, i4 io1, i4 io2, array1<i4> adj_list, array1<i4> adj_end) {
  const auto [a1, a2] = std::minmax(in1, in2);
  const auto [b1, b2] = std::minmax(io1, io2);
  const auto index = [&](i4 node, i4 neighbour) {
    return neighbor_index(node, neighbour, adj_list, adj_end);
  };
  // Where a circular list is open between two neighbours, the new one comes first or last, as the table moves
  // there.
  const auto place = [&](i4 node, i4 before, i4 behind, bool moves_down) {
    return moves_down ? index(node, behind) : index(node, before) + 1;
  };
  // Counterclockwise, io1 comes before io2 around in1, and io2 before io1 around in2.
  const auto [before, behind] = in1 < in2 ? std::pair(io1, io2) : std::pair(io2, io1);
  std::array<splice, 4> changes{{{b1, index(b1, b2), 1, 0},
                                 {b2, index(b2, b1), 1, 0},
                                 {a1, place(a1, before, behind, b1 < a1), 0, a2},
                                 {a2, place(a2, behind, before, b2 < a2), 0, a1}}};
  std::sort(changes.begin(), changes.end(), [](const splice& a, const splice& b) { return a.node < b.node; });
  apply_splices(changes, changes.back().node, adj_list, adj_end);
}

}  // namespace velko
