#include "library/problem_parts.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>
#include <string>

#include "files/active_cells.h"
#include "files/data_file.h"
#include "library/call.h"
#include "store/cell_geometry.h"
#include "store/getpar.h"
#include "store/mesh_block.h"

namespace velko {

namespace {

void refuse_unless(bool fits, std::string_view otherwise) {
  if (!fits) stop_program(otherwise);
}

i4 cells_between(std::span<const r8> edges, const std::string& name) {
  const bool ascends = edges.size() >= 2 && std::adjacent_find(edges.begin(), edges.end(), [](r8 a, r8 b) {
                                              return !(a < b);
                                            }) == edges.end();
  refuse_unless(ascends, name + " does not ascend");
  refuse_unless(std::ssize(edges) <= std::numeric_limits<i4>::max(), "ny x nx x nz beyond 32 bits");
  return static_cast<i4>(std::ssize(edges) - 1);
}

void fill_mesh(const problem_parts& parts) {
  mesh.ny = cells_between(parts.ynode, "ynode");
  mesh.nx = cells_between(parts.xnode, "xnode");
  mesh.nz = cells_between(parts.znode, "znode");
  mesh.ynode = owned_array1<r8>(parts.ynode);
  mesh.xnode = owned_array1<r8>(parts.xnode);
  mesh.znode = owned_array1<r8>(parts.znode);
  mesh.ztop = parts.ztop;
  set_widths();
}

void fill_surface(std::span<const i4> itop) {
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);
  if (itop.empty()) return;
  refuse_unless(std::ssize(itop) == mesh.itop.size(), "size(itop) /= ny x nx");
  std::copy(itop.begin(), itop.end(), mesh.itop.begin());
}

/// A vector over the columns of G; where none is given, of one value.
owned_array1<r8> column_vector(std::span<const r8> given, r8 otherwise, std::string_view misfit) {
  owned_array1<r8> vector(uninitialised, store.ncol);
  refuse_unless(given.empty() || std::ssize(given) == vector.size(), misfit);
  if (given.empty())
    std::fill(vector.begin(), vector.end(), otherwise);
  else
    std::copy(given.begin(), given.end(), vector.begin());
  return vector;
}

i4 cube_edge(i4 asked, i4 cells_along_axis) {
  if (asked == 0) return static_cast<i4>(std::bit_ceil(static_cast<std::uint32_t>(cells_along_axis)));
  refuse_unless(asked > 0 && std::has_single_bit(static_cast<std::uint32_t>(asked)),
                "ncube is no power of two");
  return asked;
}

void fill_cube(const std::array<i4, 3>& ncube) {
  store.ncube_y = cube_edge(ncube[0], mesh.ny);
  store.ncube_x = cube_edge(ncube[1], mesh.nx);
  store.ncube_z = cube_edge(ncube[2], mesh.nz);
  refuse_unless(product_fits(store.ncube_y, store.ncube_x, store.ncube_z), "ncube beyond 32 bits");
  store.ncube = store.ncube_y * store.ncube_x * store.ncube_z;
}

void fill_filter(std::span<const r8> wfilter) {
  refuse_unless(!wfilter.empty(), "size(wfilter) < 1");
  refuse_unless(std::ssize(wfilter) <= std::numeric_limits<i4>::max(), "size(wfilter) beyond 32 bits");
  store.wfilter = owned_array1<r8>(wfilter);
  store.nfilter = static_cast<i4>(wfilter.size());
  store.compressed = true;
  SET_WTN_FILTER(wfilter, store.nfilter);
}

void check_rows(const sparse_parts& Gs) {
  const std::span<const i8> start = Gs.row_start;
  refuse_unless(std::ssize(start) == i8{store.ndata_mtx} + 1 && start.front() == 0 &&
                    start.back() == std::ssize(Gs.idx) && std::is_sorted(start.begin(), start.end()),
                "row_start does not fit the rows");
  refuse_unless(Gs.val.size() == Gs.idx.size(), "size(val) /= size(idx)");
  refuse_unless(std::all_of(Gs.idx.begin(), Gs.idx.end(), [](i4 at) { return 1 <= at && at <= store.ncube; }),
                "idx outside the cube");
}

/// The elements of a row stand together, as they do in a file.
sparse_row copy_of_row(const sparse_parts& Gs, i8 first, i8 nnz) {
  auto* elements = reinterpret_cast<i4*>(store.Gs_memory.take(8 * nnz));
  const sparse_row row{array1<r4>(reinterpret_cast<r4*>(elements + nnz), nnz), array1<i4>(elements, nnz)};
  std::copy_n(Gs.idx.data() + first, nnz, row.idx.data());
  std::copy_n(Gs.val.data() + first, nnz, row.val.data());
  return row;
}

void fill_sparse_rows(const sparse_parts& Gs) {
  fill_filter(Gs.wfilter);
  fill_cube(Gs.ncube);
  check_rows(Gs);
  store.Gs = owned_array1<sparse_row>(store.ndata_mtx);
  for (i4 i = 1; i <= store.ndata_mtx; ++i) {
    const i8* start = &Gs.row_start[static_cast<std::size_t>(i - 1)];
    store.Gs(i) = copy_of_row(Gs, start[0], start[1] - start[0]);
  }
}

void fill_dense_rows(std::span<const r4> Gfull) {
  owned_array2<r4> elements(uninitialised, store.ncol, store.ndata_mtx);
  refuse_unless(std::ssize(Gfull) == elements.size(), "size(Gfull) /= ncol x ndata");
  std::copy(Gfull.begin(), Gfull.end(), elements.begin());
  store.Gfull = std::move(elements);
}

void fill_store(const problem_parts& parts) {
  const bool sparse = !parts.Gs.row_start.empty();
  refuse_unless(!sparse || parts.Gfull.empty(), "a dense G and sparse rows");
  store.ncol = cells.nbelow;
  store.ndata_mtx = std::max(parts.ndata, 0);
  store.wtz = column_vector(parts.wtz, 1.0, "size(wtz) /= ncol");
  store.gdiag = column_vector(parts.gdiag, 0.0, "size(gdiag) /= ncol");
  sparse ? fill_sparse_rows(parts.Gs) : fill_dense_rows(parts.Gfull);
  check_cell_geometry(mesh.itop);
}

owned_array1<r8> positions(std::span<const r8> given, const std::string& name) {
  if (given.empty()) return owned_array1<r8>(survey.ndata);
  refuse_unless(std::ssize(given) == survey.ndata, "size(" + name + ") /= ndata");
  return owned_array1<r8>(given);
}

void fill_survey(const problem_parts& parts) {
  survey.ndata = store.ndata_mtx;
  survey.idir = 1;
  survey.xobs = positions(parts.xobs, "xobs");
  survey.yobs = positions(parts.yobs, "yobs");
  survey.zobs = positions(parts.zobs, "zobs");
}

void check_number_of_data() {
  refuse_unless(survey.ndata == store.ndata_mtx,
                "the number of data differs in location and sensitivity file");
}

}  // namespace

problem make_problem(const problem_parts& parts) {
  problem p;
  call(p, [&] {
    fill_mesh(parts);
    fill_surface(parts.itop);
    get_active_cells("null", mesh.itop);
    fill_store(parts);
    fill_survey(parts);
  });
  return p;
}

problem load_problem(std::string_view sensitivity_file, std::string_view location_file) {
  problem p;
  call(p, [&] {
    getpar(sensitivity_file);
    if (!location_file.empty()) {
      read_data_file(location_file, false);
      check_number_of_data();
    }
    get_active_cells("null", mesh.itop);
  });
  return p;
}

}  // namespace velko
