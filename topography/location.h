/// Where a point lies in a triangulation, and the piecewise linear surface over its nodes.
///
/// What     locate_point walks through the triangles to a point; surface_value interpolates in the triangle
///          found, or gives the value at the nearest point of the boundary, so that the surface goes on
///          outward without a slope
/// Shapes   x, y, z at least (n); adj_list, adj_end a triangulation of build_triangulation, at least three
///          nodes
/// Units    px, py those of x and y; the value is in those of z
/// Errors   the status; nothing prints or stops
/// Rounding the tests are made in 64-bit floats; a walk that rounding leads astray, or to a place that misses
///          the point by more than rounding, is walked again with true answers: a ray along a line of nodes
///          may need it. A position that is not a number lies nowhere: i1 = 0, status -2
/// Threads  both only read the tables; the start node is the caller's
/// Speed    the number of triangles crossed from the start node: begin near the point
/// Sources  R. Renka, "Triangulation and interpolation at arbitrarily distributed points in the plane", ACM
///          TOMS 10 (1984) 440-442 (Algorithm 624);
///          A. Cline and R. Renka, "A storage-efficient method for construction of a Thiessen triangulation",
///          Rocky Mountain J. Math. 14 (1984) 119-139
/// See      tests/topography/location_test.cpp
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Finds the point (px, py), beginning at node nst, or at 1 where nst is less.
///   i1, i2, i3 not 0  it lies in the triangle (i1, i2, i3), counterclockwise, or on an edge or a vertex of it
///   i3 = 0            it lies outside, or on the boundary; i1 is the first (rightmost) and i2 the last
///                     (leftmost) boundary node visible from it
///   all 0             it lies on one line with all the nodes visited
void locate_point(i4 nst, r8 px, r8 py, array1<const r8> x, array1<const r8> y, array1<const i4> adj_list,
                  array1<const i4> adj_end, i4& i1, i4& i2, i4& i3);

/// Value pz of the surface at (px, py). ist is the node where the search begins, and becomes i1 where it
/// succeeds, so that a caller who goes on nearby begins nearby. status:
///    0  inside the hull, interpolated
///    1  outside, or on its boundary: the value at the nearest boundary point
///   -1  n < 3, or ist outside 1..n; pz = 0, ist as it was
///   -2  the nodes lie on one line, or the triangle found has no area, or (px, py) lies nowhere; pz = 0
void surface_value(i4 n, r8 px, r8 py, array1<const r8> x, array1<const r8> y, array1<const r8> z,
                   array1<const i4> adj_list, array1<const i4> adj_end, i4& ist, r8& pz, i4& status);

/// Weights w(1..3) of the corners (x1, y1), (x2, y2), (x3, y3) of a triangle at (x, y). status 0; or 1, with
/// w left alone, where the triangle has no area. All three x come before all three y.
void barycentric_weights(r8 x, r8 y, r8 x1, r8 x2, r8 x3, r8 y1, r8 y2, r8 y3, array1<r8> w, i4& status);

}  // namespace velko
