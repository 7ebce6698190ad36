#include "topography/triangulation_check.h"

#include <algorithm>
#include <compare>
#include <tuple>
#include <vector>

#include "topography/adjacency_table.h"
#include "topography/exact_tests.h"
#include "topography/geometry.h"

namespace velko {
namespace {

/// An arc and what follows it in the list of its tail: the third node of the triangle to its left, or 0, the
/// outside.
struct arc {
  i4 tail, head, next;
  auto key() const { return std::tuple(tail, head); }
  bool operator<(const arc& other) const { return key() < other.key(); }
};

std::string broken(int invariant, i4 node, const char* what) {
  return "(" + std::to_string(invariant) + ") node " + std::to_string(node) + ": " + what;
}

/// The shape of the lists; what follows here may then follow their entries.
std::string check_lists(i4 n, const neighbour_lists& lists) {
  if (n < 3 || lists.adj_end.size() < n) return "(1) fewer than three nodes, or list ends";
  for (i4 k = 1; k <= n; ++k) {
    if (lists.first(k) > lists.last(k) || lists.last(k) > lists.adj_list.size())
      return broken(1, k, "no list");
    for (i4 p = lists.first(k); p <= lists.last(k); ++p)
      if (lists(p) == k || lists(p) > n || lists(p) < (p == lists.last(k) ? 0 : 1))
        return broken(3, k, "an entry that is no neighbour");
    const i4 neighbours = lists.last(k) - lists.first(k) + (lists.on_boundary(k) ? 0 : 1);
    if (neighbours < (lists.on_boundary(k) ? 2 : 3)) return broken(5, k, "too few neighbours");
  }
  return {};
}

std::vector<arc> sorted_arcs(i4 n, const neighbour_lists& lists) {
  std::vector<arc> arcs;
  for (i4 k = 1; k <= n; ++k)
    for (i4 p = lists.first(k); p <= lists.last(k); ++p)
      if (lists(p) != 0) arcs.push_back({k, lists(p), lists(p == lists.last(k) ? lists.first(k) : p + 1)});
  std::sort(arcs.begin(), arcs.end());
  return arcs;
}

/// The arc from tail to head, or none.
const arc* find_arc(const std::vector<arc>& arcs, i4 tail, i4 head) {
  const auto found = std::lower_bound(arcs.begin(), arcs.end(), arc{tail, head, 0});
  return found != arcs.end() && found->tail == tail && found->head == head ? &*found : nullptr;
}

std::string check_neighbours(const std::vector<arc>& arcs) {
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    if (i > 0 && arcs[i - 1].key() == arcs[i].key()) return broken(2, arcs[i].tail, "a neighbour twice");
    if (find_arc(arcs, arcs[i].head, arcs[i].tail) == nullptr)
      return broken(2, arcs[i].tail, "a neighbour that does not know it");
  }
  return {};
}

std::string check_triangles(const std::vector<arc>& arcs) {
  for (const auto& [k, a, b] : arcs) {
    if (b == 0) continue;
    const arc* opposite = find_arc(arcs, a, b);
    if (opposite == nullptr || opposite->next != k)
      return broken(5, k, "a triangle that its corners do not share");
  }
  return {};
}

/// The boundary as one walk, and the number of triangles that goes with its length.
std::string check_boundary(i4 n, const neighbour_lists& lists, const std::vector<arc>& arcs) {
  i4 boundary_nodes = 0, start = 0;
  for (i4 k = 1; k <= n; ++k)
    if (lists.on_boundary(k)) {
      ++boundary_nodes;
      start = k;
    }
  if (start == 0) return "(3) no boundary";
  // Where the triangles fit together, the next node on the boundary knows this one as the previous one.
  i4 walked = 0, k = start;
  do k = lists.next_on_boundary(k);
  while (++walked < boundary_nodes && k != start);
  if (walked != boundary_nodes || k != start) return broken(4, k, "the boundary is not one closed walk");
  const i8 corners = static_cast<i8>(arcs.size()) - boundary_nodes;
  if (corners != 3 * (2 * i8{n} - 2 - boundary_nodes))
    return "(5) the number of triangles is not 2 n - 2 - b";
  return {};
}

std::string check_shape(i4 n, const node_points& nodes, const neighbour_lists& lists,
                        const std::vector<arc>& arcs) {
  for (const auto& [k, a, b] : arcs)
    if (b != 0 && !std::is_gt(exact_tests::side(nodes(k), nodes(a), nodes(b))))
      return broken(6, k, "a triangle that is not counterclockwise");
  for (i4 k = 1; k <= n; ++k) {
    if (!lists.on_boundary(k)) continue;
    const i4 next = lists.next_on_boundary(k);
    if (!exact_tests::left(nodes(k), nodes(next), nodes(lists.next_on_boundary(next))))
      return broken(6, next, "a boundary that is not convex");
  }
  return {};
}

/// It is enough to look across each arc: where no neighbour's vertex lies inside the circle, no other does.
std::string check_circles(const node_points& nodes, const std::vector<arc>& arcs) {
  for (const auto& [io1, io2, k] : arcs) {
    const i4 across = find_arc(arcs, io2, io1)->next;
    if (k != 0 && across != 0 && exact_tests::swap(nodes(across), nodes(k), nodes(io2), nodes(io1)))
      return broken(7, across, "inside the circle through a triangle");
  }
  return {};
}

}  // namespace

std::string check_table(i4 n, array1<const i4> adj_list, array1<const i4> adj_end) {
  const neighbour_lists lists{adj_list, adj_end};
  if (std::string found = check_lists(n, lists); !found.empty()) return found;
  const std::vector<arc> arcs = sorted_arcs(n, lists);
  if (std::string found = check_neighbours(arcs); !found.empty()) return found;
  if (std::string found = check_triangles(arcs); !found.empty()) return found;
  return check_boundary(n, lists, arcs);
}

std::string check_triangulation(i4 n, array1<const r8> x, array1<const r8> y, array1<const i4> adj_list,
                                array1<const i4> adj_end) {
  if (std::string found = check_table(n, adj_list, adj_end); !found.empty()) return found;
  const node_points nodes{x, y};
  const neighbour_lists lists{adj_list, adj_end};
  const std::vector<arc> arcs = sorted_arcs(n, lists);
  if (std::string found = check_shape(n, nodes, lists, arcs); !found.empty()) return found;
  return check_circles(nodes, arcs);
}

}  // namespace velko
