/// Cell geometry: what has to hold between mesh, surface and cube before anything walks over the cells.
///
/// Rules    cell (k, j, i) is the k-th from the top of column (i, j); the column's cells below the surface are
///          k = itop(i, j) + 1 .. nz. The mesh lies in the corner of the cube at low indices: cell (k, j, i) is cube
///          element (k, j, i), at flat position k + ncube_z (j - 1) + ncube_z ncube_x (i - 1). So 0 <= itop <= nz, and
///          the cube is at least as large as the mesh. A mesh without cells fits every cube
/// Counts   of cells and cube elements are i4
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Product of three counts as it stands in the store: in 32 bits, with wrap-around.
i4 wrapped_product(i4 a, i4 b, i4 c);

/// Whether the product of three counts, one below 1 counting as 0, fits an i4.
bool product_fits(i4 a, i4 b, i4 c);

/// Whether one of the mesh's counts is below 1.
bool has_no_cells();

/// Stops the program with a text unless the surface has the extents of the mesh and 0 <= itop <= nz throughout.
void check_surface(array2<const i4> itop);

/// Stops the program, with a text that names what does not fit, unless the surface fits the mesh and, for a
/// compressed store, the mesh fits the cube. To be called once, before the first walk over the cells.
void check_cell_geometry(array2<const i4> itop);

}  // namespace velko
