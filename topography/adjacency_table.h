/// The table of a triangulation: all neighbour lists, one after the other, and the changes that keep it
/// packed.
///
/// What     adj_end(k) is the position in adj_list of the last entry of the list of node k; the list starts
///          behind the end of the one before. Nothing here looks at coordinates
/// Shapes   adj_list at least (6 n - 9), adj_end at least (n), for n nodes 1..n
/// Order    the neighbours of k, counterclockwise around it. The list of a node on the boundary ends with a
///          0, the outside: it begins with the next boundary node counterclockwise, and the previous one
///          stands ahead of the 0. The list of an interior node is a circle, open anywhere
/// Errors   none: the caller knows that the nodes lie as each routine asks
/// Speed    a change moves each stretch of the table between the lists it concerns by a place or a few, and
///          with it their ends; the table is never copied
/// Sources  A. Cline and R. Renka, "A storage-efficient method for construction of a Thiessen triangulation",
///          Rocky Mountain J. Math. 14 (1984) 119-139;
///          R. Renka, "Triangulation and interpolation at arbitrarily distributed points in the plane", ACM
///          TOMS 10 (1984) 440-442 (Algorithm 624)
/// See      topography/triangulation.h for the invariants, tests/topography/triangulation_test.cpp
#pragma once

#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// The lists of a table, to be read.
struct neighbour_lists {
  array1<const i4> adj_list, adj_end;

  i4 first(i4 k) const { return k == 1 ? 1 : adj_end(k - 1) + 1; }
  i4 last(i4 k) const { return adj_end(k); }
  i4 operator()(i4 position) const { return adj_list(position); }
  bool on_boundary(i4 k) const { return adj_list(last(k)) == 0; }
  i4 next_on_boundary(i4 k) const { return adj_list(first(k)); }  // counterclockwise; k on the boundary
  i4 previous_on_boundary(i4 k) const { return adj_list(last(k) - 1); }  // clockwise
};

/// Position of neighbour in the list of node. It must be there.
i4 neighbor_index(i4 node, i4 neighbour, array1<const i4> adj_list, array1<const i4> adj_end);

/// Moves the entries first..last by `by` places, up or down. The stretch may overlap itself; an empty one
/// does nothing.
void shift_range(i4 first, i4 last, i4 by, array1<i4> a);

/// Lists of the first triangles: a fan from node k over nodes 1..k - 1, all on one line. On entry
/// adj_end(1..k - 1) holds these nodes in their order along the line, with k to the right of its direction;
/// on return, the list ends.
void write_fan(i4 k, array1<i4> adj_list, array1<i4> adj_end);

/// Enters node k, the newest, which lies in the triangle (i1, i2, i3), counterclockwise.
void add_interior_node(i4 k, i4 i1, i4 i2, i4 i3, array1<i4> adj_list, array1<i4> adj_end);

/// Enters node k, the newest, which lies outside the hull; i1 and i2 are the first (rightmost) and last
/// (leftmost) boundary nodes visible from k. Those between them become interior.
void add_boundary_node(i4 k, i4 i1, i4 i2, array1<i4> adj_list, array1<i4> adj_end);

/// Replaces the arc io1-io2 by the arc in1-in2 across it; (in1, io1, io2) is a triangle, counterclockwise.
void swap_diagonal(i4 in1, i4 in2, i4 io1, i4 io2, array1<i4> adj_list, array1<i4> adj_end);

/// Where the new neighbour of a node comes in by a swap, if the list, a circle, is open at that place: as the first entry, or
/// else as the last. Of the two nodes that gain an entry and the two that lose one, the smaller go together, and the larger:
/// the table between their lists moves by one place. If the one that loses stands in front, the table moves down, and the
/// free place comes to lie ahead of the list that gains; if it stands behind, the table moves up, and the place is at the end.
inline bool enters_in_front(i4 gaining, i4 losing) {
  return losing < gaining;
}

/// A change in the list of a node: `removed` entries from a position on go, and one comes in, or none where
/// it is 0.
struct splice {
  i4 node, position, removed, entering;
};

/// Makes several changes at once, given in ascending order of their positions, in lists of nodes
/// 1..last_node; the part of the table in use ends with theirs. Each stretch between two changes moves once,
/// by what those below it add up to.
void apply_splices(std::span<const splice> changes, i4 last_node, array1<i4> adj_list, array1<i4> adj_end);

}  // namespace velko
