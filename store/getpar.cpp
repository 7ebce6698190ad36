#include "store/getpar.h"

#include <algorithm>
#include <limits>
#include <string>

#include "reports/reports.h"
#include "store/cell_geometry.h"
#include "store/mesh_block.h"
#include "store/record_reader.h"
#include "store/state.h"
#include "text/number_layout.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

bool read_header(record_reader& in) {
  i4 ny = 0, nx = 0, nz = 0;
  const bool complete = in.begin_record() && in.read(store.ndata_mtx) && in.read(store.ncol) && in.read(ny) &&
                        in.read(nx) && in.read(nz) && in.end_record();
  return complete && read_mesh_block(&in, ny, nx, nz) && read_itop(in, ny, nx);
}

bool read_filter(record_reader& in) {
  if (!in.begin_record() || !in.read(store.nfilter)) return false;
  if (!in.may_hold(i8{store.nfilter} * i8{sizeof(r8)})) return false;
  store.wfilter = owned_array1<r8>(uninitialised, store.nfilter);
  store.compressed = store.nfilter >= 1;
  return in.read_all(store.wfilter.elements()) && in.end_record();
}

bool read_cube_size(record_reader& in) {
  const bool complete = in.begin_record() && in.read(store.ncube_y) && in.read(store.ncube_x) &&
                        in.read(store.ncube_z) && in.end_record();
  store.ncube = wrapped_product(store.ncube_y, store.ncube_x, store.ncube_z);
  return complete;
}

bool read_weights(record_reader& in) {
  store.wtz = owned_array1<r8>(uninitialised, store.ncol);
  return in.begin_record() && in.read(store.wtz_kind) && in.read_all(store.wtz.elements()) && in.end_record();
}

constexpr i8 entry_bytes = sizeof(i4) + sizeof(r4);

/// One row of each kind at its fullest. Asked for and given back, so that a cube that is too large for the machine is
/// reported before the long read.
void check_room_for_a_full_row() {
  allocate_or_report("getpar", [] {
    const owned_array1<i4> idx(uninitialised, store.ncube);
    const owned_array1<r4> val(uninitialised, store.ncube);
  });
}

sparse_row row_at(std::byte* elements, i8 nnz) {
  sparse_row row;
  row.idx = array1<i4>(reinterpret_cast<i4*>(elements), nnz);
  row.val = array1<r4>(reinterpret_cast<r4*>(elements) + nnz, nnz);
  return row;
}

sparse_row new_row(i8 nnz) {
  sparse_row row;
  allocate_or_report("getpar Gs", [&] { row = row_at(store.Gs_memory.take(nnz * entry_bytes), nnz); });
  return row;
}

/// The elements of a row where they lie in the file, otherwise a copy of them.
bool place_row(record_reader& in, sparse_row& row, i8 nnz) {
  if (std::byte* elements = in.take_in_place(nnz * entry_bytes); elements != nullptr) {
    row = row_at(elements, nnz);
    return true;
  }
  row = new_row(nnz);
  return in.read_all(row.idx.elements()) && in.read_all(row.val.elements());
}

bool read_sparse_row(record_reader& in, sparse_row& row) {
  i4 count = 0;
  if (!in.begin_record() || !in.read(count)) return false;
  const i8 nnz = std::max(count, 0);
  if (!in.may_hold(nnz * entry_bytes)) return false;
  if (nnz > std::max(store.ncube, 0)) {
    // Only what is there can be too long; what a record of several segments holds is known at its end alone.
    if (in.skip(nnz * entry_bytes)) stop_program("nnz > ncube");
    return false;
  }
  return place_row(in, row, nnz) && in.end_record();
}

bool read_sparse_rows(record_reader& in) {
  SET_WTN_FILTER(store.wfilter.elements(), store.nfilter);
  store.Gs = owned_array1<sparse_row>(store.ndata_mtx);
  if (!product_fits(store.ncube_y, store.ncube_x, store.ncube_z)) stop_program("ncube beyond 32 bits");
  check_room_for_a_full_row();
  in.read_in_place(store.Gs_file);
  return std::all_of(store.Gs.begin(), store.Gs.end(),
                     [&](sparse_row& row) { return read_sparse_row(in, row); });
}

void warn_of_dense_form() {
  report("");
  report("WARNING: no compression is used for the sensitivity matrix.");
  report("The program will run longer and need a lot more memory.");
  report("");
}

bool read_dense_row(record_reader& in, std::span<r4> row) {
  return in.begin_record() && in.read_all(row) && in.end_record();
}

bool read_dense_rows(record_reader& in) {
  warn_of_dense_form();
  allocate_or_report("getpar Gfull",
                     [] { store.Gfull = owned_array2<r4>(uninitialised, store.ncol, store.ndata_mtx); });
  const auto ncol = static_cast<std::size_t>(store.Gfull.extent(1));
  for (i8 datum = 0; datum < store.Gfull.extent(2); ++datum)
    if (!read_dense_row(in, {store.Gfull.data() + datum * store.Gfull.extent(1), ncol})) return false;
  return true;
}

bool read_diagonal(record_reader& in) {
  allocate_or_report("getpar gdiag", [] { store.gdiag = owned_array1<r8>(uninitialised, store.ncol); });
  return in.begin_record() && in.read_all(store.gdiag.elements()) && in.end_record();
}

bool read_store(record_reader& in) {
  if (!read_header(in) || !read_filter(in) || !read_cube_size(in)) return false;
  set_worker_stack(
      16 * i8{store.compressed ? store.ncube : store.ncol});  // room for two private vectors of model size
  // What has been said so far is out before the long reads.
  console().flush();
  log_file().flush();
  return read_weights(in) && (store.compressed ? read_sparse_rows(in) : read_dense_rows(in)) &&
         read_diagonal(in);
}

[[noreturn]] void report_read_error() {
  report_and_stop({"ERROR reading sensitivity file " + store.file_name});
}

}  // namespace

void getpar(std::string_view file_name) {
  record_reader in;
  if (!in.open(file_name)) report_file_not_found("sensitivity", file_name);
  store.file_name = without_trailing_blanks(file_name);
  if (!read_store(in)) report_read_error();
}

void check_rows_in_place() {
  if (!store.Gs_file.intact()) report_read_error();
}

}  // namespace velko
