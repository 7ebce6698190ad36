/// Mesh design: the cells of a mesh that holds a survey area and the ground below it.
///
/// What     core cells of one width cover the area, and the ground from its highest elevation to a depth below its
///          lowest; padding cells around and below them grow by a factor from one to the next
/// Numbers  core edges are whole multiples of the core width, so that they are round numbers; padding widths are rounded
///          to four digits
/// Errors   the program stop with one line that names the culprit
#pragma once

#include <string_view>
#include <vector>

#include "arrays/numbers.h"
#include "store/state.h"

namespace velko {

struct interval {
  r8 low, high;
};

/// Where the first cell begins, and the widths from there: eastward, northward, or downward from an elevation.
struct mesh_axis {
  r8 start = 0;
  std::vector<r8> widths;

  i4 cells() const { return static_cast<i4>(widths.size()); }
};

struct mesh_axes {
  mesh_axis x, y, z;
};

/// The mesh as it is after its file has been read; the surface stays as it was.
void fill_mesh(mesh_state& m, const mesh_axes& axes);

struct padding {
  i4 cells;           // on each side; below
  r8 factor;          // of a padding width to the one before it, seen from the core
  bool power_of_two;  // more cells, until the count of the axis is a power of two
};

/// Core cells over the interval, padding on both sides. `name` is that of the axis, for the words of an error.
mesh_axis horizontal_axis(std::string_view name, interval core, r8 width, const padding& around);

/// Core cells from the highest ground to `depth` below the lowest, padding below.
mesh_axis vertical_axis(interval ground, r8 depth, r8 width, const padding& below);

}  // namespace velko
