/// The topography file: scattered points of the surface, from which the surface index of every column comes.
///
/// What     read_topography allocates and fills mesh.itop: it reads the points, checks them against the mesh,
///          adds up to four corners of the mesh that they do not reach, triangulates, samples the surface,
///          and classifies the columns. A name that begins with "null" or "NULL" opens no file and puts the
///          whole mesh below the surface
/// Needs    mesh.nx, ny, nz, xnode, ynode, znode, ztop; mesh.itop must not be allocated yet. Runs once per
///          process
/// Format   docs/formats/topography_file.md
/// Errors   a report, then the program stop: file not found (label "topography"), a point that can't be read
///          or that is not finite (there is no surface over an infinite point, and the walks of the
///          triangulation need numbers), points outside the mesh, duplicate points, points on one line.
///          Points over less than 0.3 of the mesh get a warning. Stops with a text: a mesh without columns,
///          edges that are not finite or do not fit their counts. The run-time's own failures: no number of
///          points, more points than the 32-bit tables of the triangulation can number (357 913 938), a
///          second allocation of itop, memory, a refused read of the lines in front of the points
/// Threads  serial, outside any parallel region
/// Memory   52 bytes a point, touched only as points are read; a negative number of points counts as 0
/// See      topography/surface_grid.h, examples/surface_of_a_terrain.cpp,
///          tests/topography/topography_file_test.cpp
#pragma once

#include <algorithm>
#include <string_view>

#include "topography/surface_grid.h"

namespace velko {

void read_topography(std::string_view file_name);

/// The same up to the triangulation: the points of the file with the corners that were added, in ascending
/// ty.
triangulated_surface read_surface(std::string_view file_name);

/// A box around points. While it has no point it is turned inside out.
struct bounding_box {
  r8 min_x = far_away, max_x = -far_away, min_y = far_away, max_y = -far_away;

  void include(r8 x, r8 y) {
    min_x = std::min(min_x, x);
    max_x = std::max(max_x, x);
    min_y = std::min(min_y, y);
    max_y = std::max(max_y, y);
  }
  static constexpr r8 far_away = 1e15;  // where the searches for the least and the greatest start
};

/// The points of the file as they stand: (3, n), x, y and elevation of each.
owned_array2<r8> read_topography_points(std::string_view file_name);

/// The box around the points of the file, for somebody who has no mesh yet.
bounding_box read_extent_of_topography(std::string_view file_name);

}  // namespace velko
