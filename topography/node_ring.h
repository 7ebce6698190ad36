/// The ring of a node that enters a triangulation: its neighbours to be, counterclockwise.
///
/// What     the ring opens as the corners of the triangle around the node, or as the boundary visible from
///          it. It grows by swaps: where an arc that faces the node is to be swapped, the vertex behind the
///          arc comes between its ends. All that is looked up on the way stands in the table as it was; the
///          node enters it once the ring is known
/// Why      entering the node and swapping arc by arc gives the same table, to the entry, but moves its upper
///          part some twenty times for each node
/// Order    in the list of a ring node v, the new node k stands between the neighbours of v on the ring, in
///          place of all that was between them. This is plain unless the list, a circle, is open just there:
///          then k is its first entry or its last one, as the swap that brought v in would have had it
/// Bounds   no node stands on a ring twice unless rounding has led the tests astray. Such a ring is not
///          entered, and it stops growing at the latest when it is longer than there are nodes
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "topography/adjacency_table.h"

namespace velko {

class node_ring {
 public:
  /// The triangle (i1, i2, i3), counterclockwise.
  void open_triangle(i4 i1, i4 i2, i4 i3);

  /// The boundary from i1, the first (rightmost) node visible, to i2, the last (leftmost).
  void open_boundary(i4 i1, i4 i2, const neighbour_lists& lists);

  /// Goes round the ring of node k, arc by arc. swap(w, o1, o2) says whether the arc o1-o2 is to be swapped,
  /// with w behind it; the two arcs that face k then are looked at in turn. False where the ring has come to
  /// hold a node twice.
  template <class swap_question>
  bool grow(i4 k, const neighbour_lists& lists, swap_question swap) {
    for (index at = 0; at != stop_; at = ring_[at].next) {
      const i4 o2 = ring_[at].node, first = lists.first(o2);
      i4 o1 = ring_[successor(at)].node;
      i4 position = neighbor_index(o2, o1, lists.adj_list, lists.adj_end);
      // In the list of o2 the vertex behind the arc o1-o2 stands ahead of o1; a 0 there is the outside.
      for (;;) {
        const i4 ahead = position == first ? lists.last(o2) : position - 1;
        const i4 w = lists(ahead);
        if (w == 0 || !swap(w, o1, o2)) break;
        bring_in(w, at);
        if (ring_.size() >= static_cast<std::size_t>(k)) return false;
        o1 = w;
        position = ahead;
      }
      ring_[at].next_position = position;
    }
    return true;
  }

  /// Writes the node, k, into the lists of the ring, and the ring as the list of k behind the part of the
  /// table in use. False, with nothing written, where the ring holds a node twice.
  bool enter(i4 k, array1<i4> adj_list, array1<i4> adj_end);

 private:
  using index = std::uint32_t;
  static constexpr index none = 0xffffffff;

  struct ring_node {
    i4 node;
    i4 behind;             // the new node comes into the list of this one behind this neighbour,
    bool first_not_last;   // and as the first entry if that one is the last
    i4 removed;            // entries that give way
    index next;            // the next node on the ring; none behind the last one, which the first one follows
    i4 next_position = 0;  // of that node in the list of this one
  };

  index successor(index at) const { return ring_[at].next == none ? 0 : ring_[at].next; }
  void bring_in(i4 node, index at);

  bool sort_by_node();
  void add_changes(i4 k, const ring_node& v, const neighbour_lists& lists);
  void append_list(i4 k, array1<i4> adj_list, array1<i4> adj_end) const;

  std::vector<ring_node> ring_;
  index stop_ = none;  // the arc behind this one does not face k
  index last_ = none;  // the last one of the list of k, if nodes have come in between it and the first one
  bool on_boundary_ = false;

  // Work space of enter.
  std::vector<std::uint64_t> by_node_;  // node and index
  std::vector<splice> changes_;
};

}  // namespace velko
