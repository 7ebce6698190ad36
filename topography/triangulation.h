/// Delaunay triangulation of points in the plane, node by node.
///
/// What     build_triangulation makes a first fan of triangles from the leading nodes, and add_node enters
///          the others one at a time, each time restoring the Delaunay property by swaps of diagonals. Nodes
///          sorted along an axis (topography/node_sort.h) make it fast: each search begins at the node before
/// Shapes   x, y at least (n); adj_list at least (6 n - 9); adj_end at least (n). Node k is the point (x(k),
///          y(k))
/// Units    any, the same for x and y; no tolerance anywhere, every test compares floats exactly
/// Errors   the status; nothing prints or stops. Repeated nodes are the caller's to remove: they are not
///          detected as such, but lead to no access outside the arrays and to no endless loop
/// Rounding the tests are made in 64-bit floats. Where rounding leads these astray (a walk goes in a circle
///          or comes to no triangle, a swap would double an arc, triangles on a line fold over as
///          fold_check.h tells), the build begins again with the same steps and true answers to their tests,
///          which succeeds for all distinct points that are not on one line. Of small square grids turned by
///          an angle one in 32 needs it. Coordinates beyond 2^250, where tests could overflow, are not tried
///          in floats
/// Threads  serial; works on its arguments only
/// Speed    n sorted points of a terrain: about n^1.15, a grid along the axes n^1.5 (benchmarks/README.md). A
///          line of m leading nodes costs m^2 / 2 comparisons
/// Sources  R. Renka, "Triangulation and interpolation at arbitrarily distributed points in the plane", ACM
///          TOMS 10 (1984) 440-442 (Algorithm 624);
///          A. Cline and R. Renka, "A storage-efficient method for construction of a Thiessen triangulation",
///          Rocky Mountain J. Math. 14 (1984) 119-139
/// See      tests/topography/triangulation_test.cpp, fuzz/fuzz_node_sets.cpp
///
/// Invariants, between any two insertions (check_triangulation tests them):
///   (1) the lists of nodes 1..n follow one another in adj_list with no gaps; adj_end(k) is the position of the
///       last entry of the list of k
///   (2) the list of k holds every neighbour of k once, counterclockwise; what k lists lists k
///   (3) an entry 0 stands at the end of the list of each node on the boundary, and nowhere else
///   (4) the first entry of a boundary node is the next boundary node counterclockwise, the one ahead of its 0
///       the previous one; the boundary is one closed walk. The list of an interior node is a circle
///   (5) two entries that follow each other make a triangle with k; there are 2 n - 2 - b of them, for b
///       boundary nodes
///   (6) the triangles are counterclockwise and the boundary is convex, so that they fill the convex hull
///   (7) no node lies inside the circle through the corners of a triangle
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "topography/adjacency_table.h"

namespace velko {

/// Triangulates nodes 1..n. status:
///   0  done
///   1  n < 3; adj_list and adj_end are left alone
///   2  all nodes lie on one line: adj_end holds them in their order along it. adj_list is left alone, unless
///      floats had seen a triangle where true answers see none; what it holds then means nothing
///   3  there is none: a coordinate is not a finite number, n is beyond 357,913,942, more than positions of 32
///      bits can number, or even true answers contradict one another, as they may where nodes repeat (repeated
///      nodes are not looked for: they may also come out as 0, with lists that fit, or as 2). What the tables
///      hold means nothing
void build_triangulation(i4 n, array1<const r8> x, array1<const r8> y, array1<i4> adj_list,
                         array1<i4> adj_end, i4& status);

/// Enters node k >= 4 into the triangulation of nodes 1..k - 1, by tests in floats. status: 0 done; 1 when
/// locate_point finds no triangle, the tables being left alone, or when rounding breaks the swaps.
void add_node(i4 k, array1<const r8> x, array1<const r8> y, array1<i4> adj_list, array1<i4> adj_end,
              i4& status);

/// Whether the arc io1-io2 is to be replaced by in1-in2: whether the angles at in1 and in2, opposite vertices
/// of the quadrilateral with the diagonal io1-io2, exceed 180 degrees together. Four points on one circle
/// keep what they have.
bool swap_test(i4 in1, i4 in2, i4 io1, i4 io2, array1<const r8> x, array1<const r8> y);

}  // namespace velko
