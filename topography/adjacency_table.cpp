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

/// The entries between a change and the next one, as they stand before any change, and how far they have to move: by what
/// all changes below them add up to.
struct stretch {
  i4 first, last, by;
};

/// The stretches behind each change, cut at `end`, the last entry in use.
class stretches {
 public:
  stretches(std::span<const splice> changes, i4 end) : changes_(changes), end_(end) {}

  /// visit(change, stretch behind it), from the lowest to the highest.
  template <class body>
  void upwards(body&& visit) const {
    i4 by = 0;
    for (std::size_t i = 0; i < changes_.size(); ++i) visit(i, behind(i, by += growth(changes_[i])));
  }
  /// From the highest to the lowest.
  template <class body>
  void downwards(body&& visit) const {
    i4 by = 0;
    for (const splice& change : changes_) by += growth(change);
    for (std::size_t i = changes_.size(); i-- > 0; by -= growth(changes_[i])) visit(i, behind(i, by));
  }

 private:
  stretch behind(std::size_t i, i4 by) const {
    const bool topmost = i + 1 == changes_.size();
    return {changes_[i].position + changes_[i].removed, topmost ? end_ : changes_[i + 1].position - 1, by};
  }

  std::span<const splice> changes_;
  i4 end_;
};

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
  // Stretches keep their order and do not overlap, neither where they stand nor where they go. So one that moves up only
  // meets stretches above it that move up too and have gone already, taken from the top down; those that move down, from
  // the bottom up, likewise.
  const stretches between(changes, adj_end(last_node));
  between.downwards([&](std::size_t, stretch s) {
    if (s.by > 0) shift_range(s.first, s.last, s.by, adj_list);
  });
  between.upwards([&](std::size_t i, stretch s) {
    const splice& c = changes[i];
    if (s.by < 0) shift_range(s.first, s.last, s.by, adj_list);
    // What enters stands just ahead of the stretch, which has come to its place. Nothing is lost there: an entry that stood
    // there goes up, and has gone, or was removed.
    if (c.entering != 0) adj_list(s.first + s.by - 1) = c.entering;
    const bool topmost = i + 1 == changes.size();
    if (s.by != 0) move_ends(c.node, topmost ? last_node : changes[i + 1].node - 1, s.by, adj_end);
  });
}

void swap_diagonal(i4 in1, i4 in2, i4 io1, i4 io2, array1<i4> adj_list, array1<i4> adj_end) {
  const auto [a1, a2] = std::minmax(in1, in2);
  const auto [b1, b2] = std::minmax(io1, io2);
  const auto index = [&](i4 node, i4 neighbour) {
    return neighbor_index(node, neighbour, adj_list, adj_end);
  };
  const auto place = [&](i4 gaining, i4 losing, i4 before, i4 behind) {
    return enters_in_front(gaining, losing) ? index(gaining, behind) : index(gaining, before) + 1;
  };
  // Counterclockwise, io1 comes before io2 around in1, and io2 before io1 around in2.
  const auto [before, behind] = in1 < in2 ? std::pair(io1, io2) : std::pair(io2, io1);
  std::array<splice, 4> changes{{{b1, index(b1, b2), 1, 0},
                                 {b2, index(b2, b1), 1, 0},
                                 {a1, place(a1, b1, before, behind), 0, a2},
                                 {a2, place(a2, b2, behind, before), 0, a1}}};
  std::sort(changes.begin(), changes.end(), [](const splice& a, const splice& b) { return a.node < b.node; });
  apply_splices(changes, changes.back().node, adj_list, adj_end);
}

}  // namespace velko
