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
///          then k stands on the side of the opening where the swap that brought v in puts it, for later
///          swaps only take away what stands beside it. In front of the list or behind it: enters_in_front
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
      ring_[at].position_of_next = position;
    }
    return true;
  }

  /// Writes the node, k, into the lists of the ring, and the ring as the list of k behind the part of the
  /// table in use. False, with nothing written, where the ring holds a node twice.
  bool enter(i4 k, array1<i4> adj_list, array1<i4> adj_end);

 private:
  using index = std::uint32_t;
  static constexpr index none = 0xffffffff;

  // Invariants, while the ring grows:
  //   (1) `next` leads counterclockwise from ring_[0] to every node of the ring once, and from the last one to none; on a
  //       closed ring ring_[0] follows the last one
  //   (2) positions are those of the table as it stands: nothing is written before enter
  //   (3) the list of a node v has, one behind another on its circle: the next node of the ring, `swapped_away` entries,
  //       the previous node of the ring. A swap of the arc between two nodes of the ring adds one to this number of both,
  //       and the vertex behind the arc comes in with none
  //   (4) position_of_next is known of all nodes that grow has passed
  struct ring_node {
    i4 node;
    i4 joins_behind;      // the neighbour behind which k comes in as this node does
    bool joins_in_front;  // whether that is in front of the list, should this neighbour end it
    i4 swapped_away;      // entries that give way to k
    index next;
    i4 position_of_next = 0;  // in the list of this node
  };

  index successor(index at) const { return ring_[at].next == none ? 0 : ring_[at].next; }
  void bring_in(i4 node, index at);

  bool sort_by_node();
  void add_changes(i4 k, const ring_node& v, const neighbour_lists& lists);
  void append_list(i4 k, array1<i4> adj_list, array1<i4> adj_end) const;

  std::vector<ring_node> ring_;
  index stop_ = none;  // the arc behind this one does not face k
  // The list of k is the ring from behind this node on; none for the ring from ring_[0] on. It is the node that was the last
  // on the ring when one came in between it and ring_[0]: a swap puts what it brings in there ahead of the whole list.
  index list_ends_with_ = none;
  bool on_boundary_ = false;

  // Work space of enter.
  std::vector<std::uint64_t> by_node_;  // node and index
  std::vector<splice> changes_;
};

}  // namespace velko
