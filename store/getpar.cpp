#include "store/getpar.h"

#include <algorithm>
#include <limits>
#include <string>

#include "reports/interruption.h"
#include "reports/reports.h"
#include "store/cell_geometry.h"
#include "store/mesh_block.h"
#include "store/problem.h"
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

bool begin_sparse_row(record_reader& in, i8& nnz) {
  end_if_interrupted();
  i4 count = 0;
  if (!in.begin_record() || !in.read(count)) return false;
  nnz = std::max(count, 0);
  if (!in.may_hold(nnz * entry_bytes)) return false;
  if (nnz > std::max(store.ncube, 0)) {
    // Only what is there can be too long; what a record of several segments holds is known at its end alone.
    if (in.skip(nnz * entry_bytes)) stop_program("nnz > ncube");
    return false;
  }
  return true;
}

bool read_sparse_row(record_reader& in, sparse_row& row) {
  i8 nnz = 0;
  return begin_sparse_row(in, nnz) && place_row(in, row, nnz) && in.end_record();
}

bool pass_sparse_row(record_reader& in) {
  i8 nnz = 0;
  return begin_sparse_row(in, nnz) && in.skip(nnz * entry_bytes) && in.end_record();
}

void prepare_sparse_rows() {
  SET_WTN_FILTER(store.wfilter.elements(), store.nfilter);
  if (!product_fits(store.ncube_y, store.ncube_x, store.ncube_z)) stop_program("ncube beyond 32 bits");
  check_room_for_a_full_row();
}

bool read_sparse_rows(record_reader& in) {
  return std::all_of(store.Gs.begin(), store.Gs.end(),
                     [&](sparse_row& row) { return read_sparse_row(in, row); });
}

bool read_all_sparse_rows(record_reader& in) {
  store.Gs = owned_array1<sparse_row>(store.ndata_mtx);
  prepare_sparse_rows();
  in.read_in_place(store.Gs_file);
  return read_sparse_rows(in);
}

void warn_of_dense_form(int attempt) {
  if (attempt > 1) return;
  report("");
  report("WARNING: no compression is used for the sensitivity matrix.");
  report("The program will run longer and need a lot more memory.");
  report("");
}

bool read_dense_row(record_reader& in, std::span<r4> row) {
  end_if_interrupted();
  return in.begin_record() && in.read_all(row) && in.end_record();
}

/// The next rows where they lie in the mapped file: one matrix with the length words between its rows. False where they can't be
/// had so.
bool place_dense_rows(record_reader& in, i8 rows) {
  end_if_interrupted();
  const i8 ncol = std::max(store.ncol, 0), between = 2 * i8{sizeof(i4)} / i8{sizeof(r4)};
  std::byte* const first = in.take_records_in_place(rows, ncol * i8{sizeof(r4)});
  if (first == nullptr) return false;
  store.Gfull = dense_matrix(reinterpret_cast<r4*>(first), ncol, rows, ncol + between);
  return true;
}

bool pass_dense_row(record_reader& in) {
  return in.begin_record() && in.skip(i8{store.ncol} * i8{sizeof(r4)}) && in.end_record();
}

/// The next rows, in memory of their own.
bool copy_dense_rows(record_reader& in, i8 rows) {
  allocate_or_report("getpar Gfull",
                     [&] { store.Gfull = owned_array2<r4>(uninitialised, store.ncol, rows); });
  for (i8 datum = 1; datum <= store.Gfull.extent(2); ++datum)
    if (!read_dense_row(in, store.Gfull.row(datum).elements())) return false;
  return true;
}

/// In place if the file is mapped and they can be had so.
bool read_dense_rows(record_reader& in, i8 rows) {
  if (place_dense_rows(in, rows)) return true;
  in.read_without(store.Gs_file);
  return copy_dense_rows(in, rows);
}

bool read_all_dense_rows(record_reader& in) {
  in.read_in_place(store.Gs_file);
  return read_dense_rows(in, store.ndata_mtx);
}

bool read_diagonal(record_reader& in) {
  allocate_or_report("getpar gdiag", [] { store.gdiag = owned_array1<r8>(uninitialised, store.ncol); });
  return in.begin_record() && in.read_all(store.gdiag.elements()) && in.end_record();
}

bool read_head(record_reader& in) {
  if (!read_header(in) || !read_filter(in) || !read_cube_size(in)) return false;
  set_worker_stack(
      16 * i8{store.compressed ? store.ncube : store.ncol});  // room for two private vectors of model size
  // What has been said so far is out before the long reads.
  console().flush();
  log_file().flush();
  return read_weights(in);
}

bool read_all_rows(record_reader& in, int attempt) {
  if (store.compressed) return read_all_sparse_rows(in);
  warn_of_dense_form(attempt);
  return read_all_dense_rows(in);
}

bool read_store(record_reader& in, int attempt) {
  return read_head(in) && read_all_rows(in, attempt) && read_diagonal(in);
}

[[noreturn]] void report_read_error() {
  report_and_stop({"ERROR reading sensitivity file " + store.file_name});
}

void forget_what_was_read() {
  mesh = {};
  store = {};
  wavelet = {};
}

/// As long as it lives, a state stands in the place of the shared one.
class exchanged {
 public:
  explicit exchanged(whole_state& state) : state_(state) { exchange_shared_state(state_); }
  exchanged(const exchanged&) = delete;
  exchanged& operator=(const exchanged&) = delete;
  ~exchanged() { exchange_shared_state(state_); }

 private:
  whole_state& state_;
};

/// The file whose rows are in place, loaded once more, without a word.
bool load_again(whole_state& into, const std::string& name) {
  bool complete = false;
  const exchanged in_place(into);
  const capture console_words(console()), log_words(log_file());
  const stop_or_done end = run_until_stop([&] {
    record_reader in;
    complete = in.open(name) && read_store(in, 1) && in.unchanged();
  });
  return end.kind == stop_or_done::done && complete;
}

template <class array>
bool same(const array& a, const array& b) {
  const auto x = std::as_bytes(a.elements()), y = std::as_bytes(b.elements());
  return std::equal(x.begin(), x.end(), y.begin(), y.end());
}

bool same_mesh(const mesh_state& a, const mesh_state& b) {
  return a.ny == b.ny && a.nx == b.nx && a.nz == b.nz && a.ztop == b.ztop && same(a.ynode, b.ynode) &&
         same(a.xnode, b.xnode) && same(a.znode, b.znode) && same(a.itop, b.itop);
}

bool same_but_rows(const store_state& a, const store_state& b) {
  return a.ndata_mtx == b.ndata_mtx && a.ncol == b.ncol && a.nfilter == b.nfilter && a.ncube_y == b.ncube_y &&
         a.ncube_x == b.ncube_x && a.ncube_z == b.ncube_z && same(a.wfilter, b.wfilter) &&
         same(a.wtz, b.wtz) && same(a.gdiag, b.gdiag);
}

/// Takes the rows of the file as it is now, if all the rest of it is what was loaded. So a product that is formed of them is
/// that of one file, whatever was done to it before.
bool take_rows_again() {
  whole_state again;
  if (!load_again(again, store.Gs_file.name_of_open_file())) return false;
  if (!same_mesh(mesh, again.mesh) || !same_but_rows(store, again.store)) return false;
  std::swap(store.Gs, again.store.Gs);
  std::swap(store.Gs_memory, again.store.Gs_memory);
  std::swap(store.Gfull, again.store.Gfull);
  std::swap(store.Gs_file, again.store.Gs_file);
  return true;
}

constexpr i4 most_renewals = 3;  // a file that is touched without end must end the run

bool renewed_before_use() {
  if (store.Gs_used || store.Gs_file.unchanged() || store.Gs_renewals == most_renewals) return false;
  ++store.Gs_renewals;
  return take_rows_again();
}

void open_sensitivity_file(record_reader& in, std::string_view file_name) {
  if (!in.open(file_name)) report_file_not_found("sensitivity", file_name);
  store.file_name = without_trailing_blanks(file_name);
}

}  // namespace

void getpar(std::string_view file_name) {
  constexpr int attempts = 3;
  for (int attempt = 1;; ++attempt) {
    record_reader in;
    open_sensitivity_file(in, file_name);
    const bool complete = read_store(in, attempt), unchanged = in.unchanged();
    if (complete && unchanged) return;
    if (unchanged || attempt == attempts) report_read_error();
    forget_what_was_read();
  }
}

i8 load_head(std::string_view file_name) {
  record_reader in;
  if (!in.open(file_name)) report_file_not_found("sensitivity", file_name);
  store.file_name = without_trailing_blanks(file_name);
  if (!read_head(in)) report_read_error();
  constexpr int first_attempt = 1;
  store.compressed ? prepare_sparse_rows() : warn_of_dense_form(first_attempt);
  return in.position();
}

std::vector<i8> find_rows(i8 begin) {
  std::vector<i8> begins{begin};
  record_reader in;
  bool complete = in.open(store.file_name, begin) && in.hop();
  for (i4 row = 0; complete && row < store.ndata_mtx; ++row) {
    complete = store.compressed ? pass_sparse_row(in) : pass_dense_row(in);
    begins.push_back(in.position());
  }
  if (!complete || !in.unchanged()) report_read_error();
  return begins;
}

void load_rows(std::span<const i8> begin, i8 diagonal) {
  const i8 rows = std::ssize(begin) - 1;
  record_reader in;
  bool complete = in.open(store.file_name, begin.front());
  in.read_in_place(store.Gs_file, begin.back());
  if (store.compressed) {
    store.Gs = owned_array1<sparse_row>(rows);
    complete = complete && read_sparse_rows(in);
  } else {
    complete = complete && read_dense_rows(in, rows);
  }
  complete = complete && in.position() == begin.back() && in.unchanged();
  record_reader behind;
  if (!complete || !behind.open(store.file_name, diagonal) || !read_diagonal(behind)) report_read_error();
  store.Gs_renewals = most_renewals;
}

void prepare_rows() {
  renewed_before_use();
}

bool rows_renewed() {
  if (renewed_before_use()) return true;
  check_rows_in_place();
  return false;
}

void read_mesh_of_sensitivity_file(std::string_view file_name) {
  record_reader in;
  open_sensitivity_file(in, file_name);
  if (!read_header(in)) report_read_error();
}

void check_rows_in_place() {
  end_if_interrupted();
  if (!store.Gs_file.intact()) report_read_error();
  if (store.Gs_used) store.Gs_file.note_contents();
  store.Gs_used = true;
}

}  // namespace velko
