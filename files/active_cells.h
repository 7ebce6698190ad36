/// Active cells: which cells of the mesh are free parameters of the model.
///
/// What     get_active_cells builds cells.cell_map and the counts from the surface and, unless the name
///          begins with "null" or "NULL", from a file that gives -1, 0 or 1 for every cell. A cell above the
///          surface is inactive whatever the file says of it. A report of the counts goes to the log alone
///          store_inactive_values keeps what a grid holds in the cells that are not active, 0 above the surface,
///          in cells.inactive_values and inactive_inf_values; where all cells are active it does nothing
/// Shapes   itop(ny, nx), act(nz, nx, ny), grid(nz, nx, ny); the file is in model order
/// Map      (1) the positive entries of cell_map are 1..ncell, each once, in model order (2) the negative ones
///          are -1..-ninactive_inf in the same way (3) ntotal = ncell + ninactive + ninactive_inf
/// Needs    mesh.ny, nx, nz; store_inactive_values the cell map
/// Format   docs/formats/active_cell_file.md
/// Errors   a report, then the program stop: file not found (label "active cells"), end reached, a value that
///          is no integer, too many values, a value outside -1..1, no active cell, and "get_active_cells" in
///          the allocation report. A surface that does not fit the mesh stops with the text of
///          check_cell_geometry, a grid with "size(grid) /= nz x nx x ny"
#pragma once

#include <string_view>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

void get_active_cells(std::string_view file_name, array2<const i4> itop);

/// Reads the file into act, whose extents set the number of values.
void read_active_file(std::string_view file_name, array3<i4> act);

void store_inactive_values(array3<const r8> grid, array2<const i4> itop);

}  // namespace velko
