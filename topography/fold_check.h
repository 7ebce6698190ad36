/// Whether the triangles of a table lie side by side in the plane, or fold over.
///
/// What     where nodes are on one line but for rounding, the tests in floats may take them for triangles
///          that lie flat on that line, and order them so that the surface folds back there: then nodes are
///          cut off from the triangles around them, and no search comes through, though every test had an
///          answer and the lists fit together. A triangle that rounding merely turns inside out, thinner than
///          the last digit of its coordinates, is no fold
/// How      where each triangle is counterclockwise and the boundary convex without rounding, nothing folds.
///          Otherwise the angles around each node tell, taken without their sense of rotation: together a
///          full turn at an interior node, at most half a turn on the boundary. Folds exceed this by an angle
///          of the terrain, rounding by far less than the millionth that is allowed for
/// Errors   none. The lists must fit together: invariants (1) to (5) of triangulation.h
/// Speed    O(n), some nanoseconds for each triangle
/// See      tests/topography/properties_test.cpp
#pragma once

#include "topography/adjacency_table.h"
#include "topography/geometry.h"

namespace velko {

bool folds_over(i4 n, node_points nodes, neighbour_lists lists);

}  // namespace velko
