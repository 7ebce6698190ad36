#include "mpi/spread_matrix.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>

#include "products/coefficients.h"
#include "products/full_rows.h"
#include "products/model_block.h"
#include "products/model_mapping.h"
#include "products/products.h"
#include "reports/reports.h"
#include "store/getpar.h"
#include "store/state.h"

namespace velko {

namespace {

std::uint64_t with(std::uint64_t sum, const void* bytes, std::size_t size) {
  return XXH3_64bits_withSeed(bytes, size, sum);
}

template <class T>
std::uint64_t with(std::uint64_t sum, std::span<const T> values) {
  return with(sum, values.data(), values.size_bytes());
}

/// Of all in front of the rows, and of the file's size.
std::uint64_t checksum_of_head() {
  std::error_code is_no_file;
  const i8 counts[] = {
      store.ndata_mtx, store.ncol,
      mesh.ny,         mesh.nx,
      mesh.nz,         store.ncube_y,
      store.ncube_x,   store.ncube_z,
      store.wtz_kind,  static_cast<i8>(std::filesystem::file_size(store.file_name, is_no_file))};
  std::uint64_t sum = with(0, std::span<const i8>(counts));
  sum = with(sum, &mesh.ztop, sizeof mesh.ztop);
  for (const auto* values : {&mesh.ynode, &mesh.xnode, &mesh.znode, &store.wfilter, &store.wtz})
    sum = with(sum, std::span<const r8>(values->elements()));
  return with(sum, std::span<const i4>(mesh.itop.elements()));
}

/// While it lives, the survey has as many data as this rank has rows.
class rows_at_hand {
 public:
  explicit rows_at_hand(i8 rows) { survey.ndata = static_cast<i4>(rows); }
  rows_at_hand(const rows_at_hand&) = delete;
  rows_at_hand& operator=(const rows_at_hand&) = delete;
  ~rows_at_hand() { survey.ndata = whole_; }

 private:
  i4 whole_ = survey.ndata;
};

bool has_columns(std::span<const r8> m) {
  return std::ssize(m) == store.ncol;
}

/// The models of a dense G, on all cells below the surface.
owned_array1<r8> on_columns(std::span<const r8> x) {
  if (has_columns(x)) return owned_array1<r8>(x);
  owned_array1<r8> columns(uninitialised, store.ncol);
  ACTIVE_TO_BELOW(x, columns.elements());
  return columns;
}

void from_columns(std::span<const r8> columns, std::span<r8> m) {
  if (has_columns(m))
    std::copy(columns.begin(), columns.end(), m.begin());
  else
    BELOW_TO_ACTIVE(columns, m);
}

template <class T>
std::span<T> vector_of(const array2<T>& block, i8 l) {
  return {block.data() + l * block.extent(1), static_cast<std::size_t>(block.extent(1))};
}

/// Elements in front of each slab, and all. Slabs of as many entries of this rank's rows each.
std::vector<i8> cut(std::span<r8> sum, i8 slabs) {
  const i8 size = std::ssize(sum);
  std::vector<i8> begin;
  const row_range here{1, store.Gs.size()};
  for (const slab& part : cut_into_slabs({sum.data(), 1, size}, slabs, here, 1))
    begin.push_back(part.first - 1);
  begin.push_back(size);
  return begin;
}

}  // namespace

std::vector<i8> even_blocks(std::span<const i8> begin, int parts) {
  std::vector<i8> blocks{0};
  const i8 all = begin.back() - begin.front();
  for (i8 part = 1; part < parts; ++part) {
    const i8 fair = begin.front() + all / parts * part + all % parts * part / parts;
    const auto behind = std::lower_bound(begin.begin(), begin.end(), fair);
    const bool nearer_in_front = behind != begin.begin() && fair - behind[-1] < *behind - fair;
    blocks.push_back(std::max(blocks.back(), behind - begin.begin() - (nearer_in_front ? 1 : 0)));
  }
  blocks.push_back(std::ssize(begin) - 1);
  return blocks;
}

spread_matrix::spread_matrix(const ranks& all, std::string_view sensitivity_file) : all_(all) {
  std::vector<i8> begin;
  i8 behind_head = 0;
  all_.together([&] { behind_head = load_head(sensitivity_file); });
  check_one_file(checksum_of_head());
  all_.first_alone([&] { begin = find_rows(behind_head); });
  all_.broadcast(begin);
  first_row_ = even_blocks(begin, all_.size());
  const auto here =
      std::span<const i8>(begin).subspan(static_cast<std::size_t>(begin_of(all_.rank())), rows_here() + 1);
  all_.together([&] { load_rows(here, begin.back()); });
  check_one_file(with(0, std::span<const r8>(store.gdiag.elements())));
}

/// Rank 0 saw a file; what another saw of it says whether that was the same.
void spread_matrix::check_one_file(std::uint64_t what_this_rank_saw) const {
  std::uint64_t seen = what_this_rank_saw;
  all_.broadcast(seen);
  all_.together([&] {
    if (seen != what_this_rank_saw)
      report_and_stop({"ERROR: the ranks see different files: " + store.file_name});
  });
}

void spread_matrix::forward(std::span<const r8> m, std::span<r8> d) const {
  all_.together([&] {
    check_data(d);
    const rows_at_hand here(rows().last - rows().first + 1);
    GPROD(m, d.subspan(static_cast<std::size_t>(rows().first - 1), rows_here()));
  });
  all_.share(d, first_row_);
}

void spread_matrix::forward_block(array2<const r8> m, array2<r8> d) const {
  owned_array2<r8> d_here;
  all_.together([&] {
    if (d.extent(1) != store.ndata_mtx) stop_program("size(d) /= ndata");
    d_here = owned_array2<r8>(uninitialised, rows_here(), d.extent(2));
    const rows_at_hand here(rows().last - rows().first + 1);
    GPROD_BLOCK(m, d_here);
  });
  for (i8 l = 0; l < d.extent(2); ++l) {
    const std::span<r8> whole = vector_of(d, l);
    std::copy_n(d_here.data() + l * d_here.extent(1), d_here.extent(1), whole.begin() + rows().first - 1);
    all_.share(whole, first_row_);
  }
}

void spread_matrix::adjoint(std::span<r8> m, std::span<const r8> d) {
  owned_array1<r8> sum;
  all_.together([&] {
    check_data(d);
    allocate_or_report("gtprod", [&] { sum = new_sum(); });
  });
  sum_rows(d.subspan(static_cast<std::size_t>(rows().first - 1), rows_here()), sum.elements());
  all_.together(
      [&] { store.compressed ? coefficients_to_model(sum.elements(), m) : from_columns(sum.elements(), m); });
}

void spread_matrix::normal(std::span<const r8> x, std::span<r8> y) {
  owned_array1<r8> sum;
  std::vector<r8> d_here;
  all_.together([&] {
    d_here.resize(rows_here());
    if (store.compressed) {
      allocate_or_report("gtgprod", [&] { sum = new_sum(); });
      model_to_coefficients(x, sum.elements());
      dots_of_rows({1, store.Gs.size()}, sum.elements(), d_here);
    } else {
      allocate_or_report("gtgprod", [&] { sum = on_columns(x); });
      CALC_FULL_GV(sum.elements(), d_here);
    }
  });
  sum_rows(d_here, sum.elements());
  all_.together(
      [&] { store.compressed ? coefficients_to_model(sum.elements(), y) : from_columns(sum.elements(), y); });
}

void spread_matrix::adjoint_block(array2<r8> m, array2<const r8> d) {
  all_.together([&] { check_blocks(m.extent(2), d.extent(2)); });
  for (i8 l = 0; l < m.extent(2); ++l) adjoint(vector_of(m, l), vector_of(d, l));
}

void spread_matrix::normal_block(array2<const r8> x, array2<r8> y) {
  all_.together([&] { check_blocks(x.extent(2), y.extent(2)); });
  for (i8 l = 0; l < x.extent(2); ++l) normal(vector_of(x, l), vector_of(y, l));
}

void spread_matrix::adjoint_by_reduction(std::span<r8> m, std::span<const r8> d) const {
  all_.together([&] {
    check_data(d);
    const rows_at_hand here(rows().last - rows().first + 1);
    std::fill(m.begin(), m.end(), 0.0);
    GTPROD(m, d.subspan(static_cast<std::size_t>(rows().first - 1), rows_here()));
  });
  all_.sum(m);
}

void spread_matrix::normal_by_reduction(std::span<const r8> x, std::span<r8> y) const {
  all_.together([&] {
    const rows_at_hand here(rows().last - rows().first + 1);
    std::fill(y.begin(), y.end(), 0.0);
    GTGPROD(x, y);
  });
  all_.sum(y);
}

/// sum = G' d over all ranks, on each: it goes through the ranks in slabs, and every rank adds its rows. A rank that stops passes
/// on what it gets, so that nobody waits for it.
void spread_matrix::sum_rows(std::span<const r8> d_here, std::span<r8> sum) {
  all_.together([&] { prepare_sums(sum); });
  all_.broadcast(slab_begin_);
  if (all_.first()) std::fill(sum.begin(), sum.end(), 0.0);
  const std::size_t slabs = slab_begin_.size() - 1;
  const auto slab_of = [&](std::size_t s) {
    const auto begin = static_cast<std::size_t>(slab_begin_[s]);
    return sum.subspan(begin, static_cast<std::size_t>(slab_begin_[s + 1]) - begin);
  };
  std::vector<messages> coming(slabs);
  messages going;
  if (!all_.first())
    for (std::size_t s = 0; s < slabs; ++s) all_.receive(slab_of(s), all_.rank() - 1, coming[s]);
  told_end mine;
  for (std::size_t s = 0; s < slabs; ++s) {
    coming[s].wait();
    if (mine.end.kind == stop_or_done::done)
      mine = run_and_tell([&] { add_rows_here(d_here, slab_of(s), slab_begin_[s], std::ssize(sum)); });
    if (!all_.last()) all_.send(slab_of(s), all_.rank() + 1, going);
  }
  going.wait();
  all_.agree(mine);
  all_.broadcast(sum, all_.size() - 1);
}

void spread_matrix::add_rows_here(std::span<const r8> d_here, std::span<r8> to, i8 begin, i8 size) const {
  if (store.compressed)
    add_rows({1, store.Gs.size()}, order_, d_here, {to.data(), begin + 1, std::ssize(to)}, size);
  else
    ADD_FULL_ROWS(d_here, begin, to);
}

/// Once for a matrix: how the rows stand, and, on rank 0, slabs that take about as long each. Many of them, so that ranks wait little
/// for the first and the last.
void spread_matrix::prepare_sums(std::span<r8> sum) {
  constexpr i8 slabs_for_a_rank = 16;
  if (!slab_begin_.empty()) return;
  if (store.compressed) order_ = order_of_rows({1, store.Gs.size()}, std::ssize(sum));
  if (all_.first()) slab_begin_ = cut(sum, all_.size() == 1 ? 1 : slabs_for_a_rank * all_.size());
}

owned_array1<r8> spread_matrix::new_sum() {
  return store.compressed ? new_cube() : owned_array1<r8>(uninitialised, store.ncol);
}

void spread_matrix::check_data(std::span<const r8> d) {
  if (std::ssize(d) != store.ndata_mtx) stop_program("size(d) /= ndata");
}

void spread_matrix::check_blocks(i8 models, i8 others) {
  if (models != others) stop_program("size(x) /= size(y)");
}

}  // namespace velko
