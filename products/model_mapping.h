/// Model mappings: one model in its four shapes, and the seven ways between them.
///
/// Shapes   active vector   (ncell)   amodel: one value per active cell, numbered by cell_map
///          full mesh       (ntotal)  one value per cell, model order (y outermost, then x, z fastest)
///          compact vector  (ncol)    the cells below the surface, surface order: the columns of a dense G
///          cube            (ncube)   the mesh in the corner of lowest indices of a box, ncube_z fastest; the
///                                    rest of the box belongs to no cell
/// Reads    cells (cell_map, the counts, inactive values) and mesh (itop, the counts); nothing is written but
///          the output
/// Errors   a size that does not fit stops the program with a text that names the two sizes. No routine reads or
///          writes beyond the end of a vector whose length it tests; a position in cell_map beyond ncell, an itop
///          outside 0..nz and a cube smaller than the mesh are refused before, by get_active_cells
/// Threads  serial; called outside the parallel loops of the products, but for the rows of several models
/// Letters  i along y, j along x, k down a column
/// See      tests/products/model_mapping_test.cpp
#pragma once

#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// Lays a model on the cube and writes every element of it. x is active if its length is ncell, else a full mesh
/// if it is ntotal; any other length stops with "size(x) /= # of cells". Elements that hold no value of x (cells
/// that are not active, and all outside the mesh) get 0, or the mean of x if fill is 1 or more.
void MODEL_TO_CUBE(std::span<const r8> x, std::span<r8> cube, i4 ny, i4 nx, i4 nz, i4 ncube_y, i4 ncube_x,
                   i4 ncube_z, i4 fill);

/// x(cell_map(k, j, i)) = cube(k, j, i) for every active cell. Elements of x that no cell names keep what they
/// held. x is always read as active: this is no mirror image of MODEL_TO_CUBE.
void CUBE_TO_MODEL(std::span<r8> x, std::span<const r8> cube, i4 ny, i4 nx, i4 nz, i4 ncube_y, i4 ncube_x,
                   i4 ncube_z);

/// Cubes of several models, x(:, l), that lie interleaved: the elements of all at one position, then those at the next, so many as
/// `width` tells. Row (i, j) of them, as MODEL_TO_CUBE with zero fill lays each model and CUBE_TO_MODEL takes it, for threads
/// that share the rows; the mesh and the cube are those at hand. Cubes beyond the models are zero. check_model makes the
/// stop of MODEL_TO_CUBE for a length that does not fit, ahead of the threads.
void check_model(std::span<const r8> x);
void MODELS_TO_ROW(array2<const r8> x, r8* row, i8 width, i8 i, i8 j);
void ROW_TO_MODELS(array2<r8> x, const r8* row, i8 width, i8 i, i8 j);

/// The values of the active cells out of a full mesh. Stops with "size(amodel) /= ncell".
void GRID_TO_AMODEL(std::span<const r8> grid, std::span<r8> amodel);

/// A full mesh from the active values and, for the other cells, the fixed values of store_inactive_values: those
/// marked 0 take theirs in model order, the negative ones by number. Stops with "size(amodel) /= ncell"; and, where
/// store_inactive_values has not run, with "size(inactive_values) /= ninactive" or
/// "size(inactive_inf_values) /= ninactive_inf".
void AMODEL_TO_GRID(std::span<const r8> amodel, std::span<r8> grid);

/// The cells below the surface out of a full mesh. Stops with "idx1 /= size(amodel)" unless they fill amodel,
/// here the compact vector, exactly.
void GRID_TO_BELOW(std::span<const r8> grid, std::span<r8> amodel);

/// m2, active, from m1, compact: cells that are not active are dropped, and elements of m2 that no cell below the
/// surface names keep what they held. Stops with "size(m2) /= ncell" or "idx1 /= size(m1)".
void BELOW_TO_ACTIVE(std::span<const r8> m1, std::span<r8> m2);

/// m1, compact, from m2, active: 0 for cells below the surface that are not active. Stops like BELOW_TO_ACTIVE.
void ACTIVE_TO_BELOW(std::span<const r8> m2, std::span<r8> m1);

}  // namespace velko
