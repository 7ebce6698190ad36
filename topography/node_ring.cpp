#include "topography/node_ring.h"

#include <algorithm>

namespace velko {

void node_ring::open_triangle(i4 i1, i4 i2, i4 i3) {
  ring_.assign({{i1, i2, false, 0, 1}, {i2, i3, false, 0, 2}, {i3, i1, false, 0, none}});
  on_boundary_ = false;
  stop_ = list_ends_with_ = none;
}

void node_ring::open_boundary(i4 i1, i4 i2, const neighbour_lists& lists) {
  ring_.clear();
  // k comes in ahead of the outside at i1, in the place of the outside in between, and behind the outside at
  // i2.
  index next = 0;
  for (i4 v = i1; v != i2; v = lists.previous_on_boundary(v))
    ring_.push_back({v, lists.previous_on_boundary(v), false, v == i1 ? 0 : 1, ++next});
  ring_.push_back({i2, 0, true, 0, none, lists.last(i2)});
  on_boundary_ = true;
  stop_ = next;
  list_ends_with_ = none;
}

/// Swaps the arc from a ring node to the next one.
void node_ring::bring_in(i4 node, index at) {
  ring_node& o2 = ring_[at];
  ring_node& o1 = ring_[successor(at)];
  ++o1.swapped_away;
  ++o2.swapped_away;
  if (o2.next == none && list_ends_with_ == none) list_ends_with_ = at;
  // k, the largest of all, is the larger one that gains.
  const bool in_front = enters_in_front(node, std::min(o1.node, o2.node));
  const ring_node entering{node, o1.node, in_front, 0, o2.next};
  o2.next = static_cast<index>(ring_.size());
  ring_.push_back(entering);
}

/// Puts the ring in the order of the table. False where it holds a node twice.
bool node_ring::sort_by_node() {
  by_node_.clear();
  for (std::size_t at = 0; at < ring_.size(); ++at)
    by_node_.push_back(static_cast<std::uint64_t>(ring_[at].node) << 32 | at);
  std::sort(by_node_.begin(), by_node_.end());
  const auto same_node = [](std::uint64_t a, std::uint64_t b) { return a >> 32 == b >> 32; };
  return std::adjacent_find(by_node_.begin(), by_node_.end(), same_node) == by_node_.end();
}

/// In the list of v, k comes between the neighbours of v on the ring, in place of what was swapped away (3).
void node_ring::add_changes(i4 k, const ring_node& v, const neighbour_lists& lists) {
  const i4 begin = v.position_of_next + 1, last = lists.last(v.node);
  if (begin + v.swapped_away <= last) {
    changes_.push_back({v.node, begin, v.swapped_away, k});
    return;
  }
  // The circle is open in between: what gives way stands at the end of the list and at its beginning. So does the place of
  // k: right behind the neighbour that it joined, which is still next on the ring or has given way since.
  const i4 at_end = last + 1 - begin, at_beginning = v.swapped_away - at_end;
  const i4 joined = neighbor_index(v.node, v.joins_behind, lists.adj_list, lists.adj_end);
  const bool first = joined < v.position_of_next || (joined == last && v.joins_in_front);
  if (first || at_beginning > 0)
    changes_.push_back({v.node, lists.first(v.node), at_beginning, first ? k : 0});
  if (!first || at_end > 0) changes_.push_back({v.node, begin, at_end, first ? 0 : k});
}

void node_ring::append_list(i4 k, array1<i4> adj_list, array1<i4> adj_end) const {
  i4 t = adj_end(k - 1);
  const auto append = [&](index from, index end) {
    for (index at = from; at != end; at = ring_[at].next) adj_list(++t) = ring_[at].node;
  };
  const index head = list_ends_with_ == none ? 0 : ring_[list_ends_with_].next;
  append(head, none);
  if (head != 0) append(0, head);
  if (on_boundary_) adj_list(++t) = 0;
  adj_end(k) = t;
}

bool node_ring::enter(i4 k, array1<i4> adj_list, array1<i4> adj_end) {
  if (!sort_by_node()) return false;
  changes_.clear();
  for (const std::uint64_t v : by_node_) add_changes(k, ring_[v & 0xffffffff], {adj_list, adj_end});
  apply_splices(changes_, k - 1, adj_list, adj_end);
  append_list(k, adj_list, adj_end);
  return true;
}

void add_interior_node(i4 k, i4 i1, i4 i2, i4 i3, array1<i4> adj_list, array1<i4> adj_end) {
  node_ring ring;
  ring.open_triangle(i1, i2, i3);
  ring.grow(k, {adj_list, adj_end}, [](i4, i4, i4) { return false; });
  ring.enter(k, adj_list, adj_end);
}

void add_boundary_node(i4 k, i4 i1, i4 i2, array1<i4> adj_list, array1<i4> adj_end) {
  node_ring ring;
  ring.open_boundary(i1, i2, {adj_list, adj_end});
  ring.grow(k, {adj_list, adj_end}, [](i4, i4, i4) { return false; });
  ring.enter(k, adj_list, adj_end);
}

}  // namespace velko
