/// The surface grid: where a surface is sampled over the mesh, and what its samples say of each column.
///
/// Surface  piecewise linear over the triangles of scattered points, and beyond their hull as its nearest
///          point is high
/// What     a column of the mesh is sampled at its four corners, the midpoints of its four sides, and its
///          centre; neighbouring columns share the samples of their border. classify_columns takes out of a
///          column every cell that the lowest of its nine samples does not clear: a cell stays exactly when
///          its top edge is at or below that sample. A cell that the surface cuts, or touches from below, is
///          taken out whole
/// Shapes   gy(2 ny + 1), gx(2 nx + 1), gz(2 ny + 1, 2 nx + 1), itop(ny, nx), znode(nz + 1)
/// Units    those of the mesh; elevations upward, znode downward from the elevation ztop
/// Errors   arrays that do not fit the counts stop the program with a text that names the two sizes. A sample
///          that is not a number says nothing: the other eight decide
/// Threads  everything works on its arguments alone
/// See      topography/topography_file.h, which brings a surface here; tests/topography/surface_grid_test.cpp
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Scattered points and their triangulation, with y as first coordinate: ty ascends. Positions from n + 1 on
/// hold nothing.
struct triangulated_surface {
  i4 n = 0;  // points; with fewer than three there are no triangles, and the surface lies at 0
  owned_array1<r8> tx, ty, tz;  // coordinates and elevation
  owned_array1<i4> adj_list;    // neighbour lists of the points
  owned_array1<i4> adj_end;     // their ends in adj_list
};

/// The cell edges and the cell midpoints in turn: edges, midpoint, edge, ... of the n cells between the n + 1
/// nodes.
owned_array1<r8> sample_positions(array1<const r8> node, i4 n);

/// gz(i, j) = elevation of the surface at (gy(i), gx(j)). Each search for a triangle begins where the one
/// before ended.
owned_array2<r8> sample_surface(const triangulated_surface& surface, array1<const r8> gy,
                                array1<const r8> gx);

/// itop(i, j) = number of cells, counted from the top of the mesh, that the surface takes out of the column:
/// from 0, where all of it lies below the surface, to nz.
void classify_columns(array2<const r8> gz, array1<const r8> znode, i4 ny, i4 nx, i4 nz, r8 ztop,
                      array2<i4> itop);

/// Where v stands among the n + 1 values of a, which descend: 0 when v >= a(1), n + 1 when a(n + 1) > v, else
/// the smallest k with a(k) >= v >= a(k + 1). A v that is not a number stands nowhere and gives n + 1.
i4 find_bracket(array1<const r8> a, r8 v, i4 n);

/// Distance of two points of the plane.
r8 plane_distance(r8 x1, r8 y1, r8 x2, r8 y2);

}  // namespace velko
