#include "products/model_mapping.h"

#include <algorithm>
#include <cassert>
#include <numeric>

#include "arrays/array.h"
#include "arrays/instruction_set.h"
#include "products/columns.h"
#include "reports/program_stop.h"
#include "store/state.h"

namespace velko {
namespace {

// Columns are counted in i8: an extent may be the last number of i4, and a count that has passed it must hold the next.

// How long an x that MODEL_TO_CUBE takes can be, and so what it is.
enum class reading { active, full_mesh };

bool has_size(std::span<const r8> x, i4 n) {
  return static_cast<i8>(x.size()) == n;
}

reading reading_of(std::span<const r8> x) {
  if (has_size(x, cells.ncell)) return reading::active;
  if (has_size(x, cells.ntotal)) return reading::full_mesh;
  stop_program("size(x) /= # of cells");
}

r8 mean(std::span<const r8> x) {
  return std::accumulate(x.begin(), x.end(), 0.0) / static_cast<r8>(x.size());
}

/// One column of the mesh on the cube: c(k) = x(map(k)) where that names a cell, else the fill value. Elements of c stand
/// `stride` apart.
void lay_active_column(const i4* map, std::span<const r8> x, i8 nz, r8 fill_value, r8* c, i8 stride = 1) {
  for (i8 k = 0; k < nz; ++k)
    c[k * stride] = map[k] > 0 ? x[static_cast<std::size_t>(map[k] - 1)] : fill_value;
}

/// The way back: x(map(k)) = c(k) where that names a cell.
void take_active_column(const i4* map, const r8* c, i8 stride, i8 nz, std::span<r8> x) {
  for (i8 k = 0; k < nz; ++k)
    if (map[k] > 0) x[static_cast<std::size_t>(map[k] - 1)] = c[k * stride];
}

/// A mesh in the corner of a cube.
struct mesh_in_cube {
  i4 ny, nx, nz, ncube_z;

  i8 cells_of_row(i8 i, i8 j) const { return i <= ny && j <= nx ? std::max(nz, 0) : 0; }

  /// Row (i, j) of the cube, whole, from a model that is read as told.
  VELKO_ALWAYS_INLINE void lay_row(reading as, std::span<const r8> x, i8 i, i8 j, r8 fill_value, r8* row,
                                   i8 stride) const {
    const i8 inside = cells_of_row(i, j);
    if (inside > 0 && as == reading::active)
      lay_active_column(&cells.cell_map(1, j, i), x, inside, fill_value, row, stride);
    else if (inside > 0)
      for (i8 k = 0, first = ((i - 1) * nx + j - 1) * nz; k < inside; ++k)
        row[k * stride] = x[static_cast<std::size_t>(first + k)];
    for (i8 k = inside; k < ncube_z; ++k) row[k * stride] = fill_value;
  }
};

mesh_in_cube mesh_at_hand() {
  return {mesh.ny, mesh.nx, mesh.nz, store.ncube_z};
}

/// Calls visit(i, j, first, below) for every column, in model order: its cells below the surface are
/// first .. nz, as many as `below`.
template <class body>
void for_each_column_below(body&& visit) {
  for (i8 i = 1; i <= mesh.ny; ++i)
    for (i8 j = 1; j <= mesh.nx; ++j) {
      const i4 above = mesh.itop(i, j);
      if (above < mesh.nz) visit(i, j, above + 1, mesh.nz - above);
    }
}

/// The walk that BELOW_TO_ACTIVE and ACTIVE_TO_BELOW share: assign(map, p, below) sees the map of a column's
/// cells below the surface and p, the position of the first of them in m1, from 0.
template <class body>
void walk_below(std::span<const r8> m1, std::span<const r8> m2, body&& assign) {
  if (!has_size(m2, cells.ncell)) stop_program("size(m2) /= ncell");
  const i8 size = static_cast<i8>(m1.size());
  i8 idx1 = 0;
  for_each_column_below([&](i8 i, i8 j, i4 first, i4 below) {
    // A column that does not fit is only counted: the stop below follows.
    if (idx1 + below <= size) assign(&cells.cell_map(first, j, i), idx1, below);
    idx1 += below;
  });
  if (idx1 != size) stop_program("idx1 /= size(m1)");
}

}  // namespace

void MODEL_TO_CUBE(std::span<const r8> x, std::span<r8> cube, i4 ny, i4 nx, i4 nz, i4 ncube_y, i4 ncube_x,
                   i4 ncube_z, i4 fill) {
  const reading as = reading_of(x);
  const r8 fill_value = fill < 1 ? 0.0 : mean(x);
  assert(static_cast<i8>(cube.size()) == array_shape<3>(ncube_z, ncube_x, ncube_y).size());
  const mesh_in_cube place{ny, nx, nz, ncube_z};
  r8* row = cube.data();
  for (i8 i = 1; i <= ncube_y; ++i)
    for (i8 j = 1; j <= ncube_x; ++j, row += ncube_z) place.lay_row(as, x, i, j, fill_value, row, 1);
}

void CUBE_TO_MODEL(std::span<r8> x, std::span<const r8> cube, i4 ny, i4 nx, i4 nz, i4 ncube_y, i4 ncube_x,
                   i4 ncube_z) {
  const array3<const r8> box(cube.data(), ncube_z, ncube_x, ncube_y);
  assert(static_cast<i8>(cube.size()) == box.size());
  if (nz < 1) return;
  for (i8 i = 1; i <= ny; ++i)
    for (i8 j = 1; j <= nx; ++j) take_active_column(&cells.cell_map(1, j, i), &box(1, j, i), 1, nz, x);
}

void check_model(std::span<const r8> x) {
  reading_of(x);
}

void MODELS_TO_ROW(array2<const r8> x, r8* row, i8 width, i8 i, i8 j) {
  const mesh_in_cube place = mesh_at_hand();
  const reading as = reading_of(column_of(x, 1));
  for (i8 l = 1; l <= x.extent(2); ++l) place.lay_row(as, column_of(x, l), i, j, 0.0, row + l - 1, width);
  for (i8 l = x.extent(2); l < width; ++l)
    for (i8 k = 0; k < store.ncube_z; ++k) row[k * width + l] = 0;
}

void ROW_TO_MODELS(array2<r8> x, const r8* row, i8 width, i8 i, i8 j) {
  const i8 inside = mesh_at_hand().cells_of_row(i, j);
  if (inside == 0) return;
  for (i8 l = 1; l <= x.extent(2); ++l)
    take_active_column(&cells.cell_map(1, j, i), row + l - 1, width, inside, column_of(x, l));
}

void GRID_TO_AMODEL(std::span<const r8> grid, std::span<r8> amodel) {
  if (!has_size(amodel, cells.ncell)) stop_program("size(amodel) /= ncell");
  const r8* value = grid.data();
  assert(static_cast<i8>(grid.size()) == cells.cell_map.size());
  for (const i4 e : cells.cell_map) {
    if (e > 0) amodel[static_cast<std::size_t>(e - 1)] = *value;
    ++value;
  }
}

void AMODEL_TO_GRID(std::span<const r8> amodel, std::span<r8> grid) {
  if (!has_size(amodel, cells.ncell)) stop_program("size(amodel) /= ncell");
  if (cells.inactive_values.size() < cells.ninactive) stop_program("size(inactive_values) /= ninactive");
  if (cells.inactive_inf_values.size() < cells.ninactive_inf)
    stop_program("size(inactive_inf_values) /= ninactive_inf");
  r8* value = grid.data();
  assert(static_cast<i8>(grid.size()) == cells.cell_map.size());
  i4 c = 0;
  for (const i4 e : cells.cell_map) {
    if (e > 0)
      *value = amodel[static_cast<std::size_t>(e - 1)];
    else if (e < 0)
      *value = cells.inactive_inf_values(-e);
    else
      *value = cells.inactive_values(++c);
    ++value;
  }
}

void GRID_TO_BELOW(std::span<const r8> grid, std::span<r8> amodel) {
  const array3<const r8> value(grid.data(), mesh.nz, mesh.nx, mesh.ny);
  assert(static_cast<i8>(grid.size()) == value.size());
  const i8 size = static_cast<i8>(amodel.size());
  i8 idx1 = 0;
  for_each_column_below([&](i8 i, i8 j, i4 first, i4 below) {
    if (idx1 + below <= size) std::copy_n(&value(first, j, i), below, amodel.data() + idx1);
    idx1 += below;
  });
  if (idx1 != size) stop_program("idx1 /= size(amodel)");
}

void BELOW_TO_ACTIVE(std::span<const r8> m1, std::span<r8> m2) {
  walk_below(m1, m2, [&](const i4* map, i8 idx1, i4 below) {
    const r8* from = m1.data() + idx1;
    for (i4 k = 0; k < below; ++k)
      if (map[k] > 0) m2[static_cast<std::size_t>(map[k] - 1)] = from[k];
  });
}

void ACTIVE_TO_BELOW(std::span<const r8> m2, std::span<r8> m1) {
  walk_below(m1, m2, [&](const i4* map, i8 idx1, i4 below) {
    lay_active_column(map, m2, below, 0.0, m1.data() + idx1);
  });
}

}  // namespace velko
