#include "mpi/spread_matrix.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "mpi/packed_vectors.h"
#include "products/coefficients.h"
#include "products/full_rows.h"
#include "products/model_block.h"
#include "products/model_mapping.h"
#include "products/products.h"
#include "reports/reports.h"
#include "store/getpar.h"
#include "store/state.h"
#include "text/number_layout.h"
#include "threads/team.h"

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

/// Every rank would take a part of what comes.
void refuse_pipe(std::string_view file) {
  const std::string name(without_trailing_blanks(file));
  std::error_code is_no_file;
  if (std::filesystem::is_fifo(name, is_no_file)) report_and_stop({"ERROR reading sensitivity file " + name});
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

i8 length_of_sum() {
  return store.compressed ? i8{store.ncube} : i8{store.ncol};
}

/// What the rows of G are multiplied with: coefficients, or a value for each cell below the surface.
void from_model(std::span<const r8> m, std::span<r8> to) {
  if (store.compressed)
    model_to_coefficients(m, to);
  else if (has_columns(m))
    std::copy(m.begin(), m.end(), to.begin());
  else
    ACTIVE_TO_BELOW(m, to);
}

void to_model(std::span<r8> from, std::span<r8> m) {
  if (store.compressed)
    coefficients_to_model(from, m);
  else if (has_columns(m))
    std::copy(from.begin(), from.end(), m.begin());
  else
    BELOW_TO_ACTIVE(from, m);
}

template <class T>
std::span<T> vector_of(const array2<T>& block, i8 l) {
  return {block.data() + l * block.extent(1), static_cast<std::size_t>(block.extent(1))};
}

/// Vectors from first to first + count - 1 of a block, from 0.
template <class T>
array2<T> part_of(const array2<T>& block, i8 first, i8 count) {
  return array2<T>(block.data() + first * block.extent(1), block.extent(1), count);
}

template <class T>
array2<T> block_of_one(std::span<T> vector) {
  return array2<T>(vector.data(), vector.size(), 1);
}

void put_models(array2<const r8> m, packed_vectors& to) {
  if (to.width() == 1) return from_model(vector_of(m, 0), to.elements());
  owned_array1<r8> one(uninitialised, length_of_sum());
  for (i8 l = 0; l < m.extent(2); ++l) {
    from_model(vector_of(m, l), one.elements());
    to.put(one.elements(), l);
  }
}

void get_models(packed_vectors& from, array2<r8> m) {
  if (from.width() == 1) return to_model(from.elements(), vector_of(m, 0));
  owned_array1<r8> one(uninitialised, length_of_sum());
  for (i8 l = 0; l < m.extent(2); ++l) {
    from.get(l, one.elements());
    to_model(one.elements(), vector_of(m, l));
  }
}

row_range rows_of_sparse_matrix() {
  return {1, store.Gs.size()};
}

/// A dense pack of one piece as the block that it is.
array2<r8> as_block(packed_vectors& packed) {
  return array2<r8>(packed.elements().data(), packed.length(), packed.width());
}

/// data = the rows of this rank times the models.
void dots_here(packed_vectors& models, packed_vectors& data) {
  if (store.compressed)
    dots_of_rows(rows_of_sparse_matrix(), models.elements(), data.elements(), models.width());
  else
    CALC_FULL_GV_BLOCK(as_block(models), as_block(data));
}

/// Elements in front of each slab, and all. Slabs of as many entries of this rank's rows each.
std::vector<i8> cut(i8 slabs) {
  const i8 size = length_of_sum();
  owned_array1<r8> any(uninitialised, size);
  std::vector<i8> begin;
  for (const slab& part : cut_into_slabs({any.data(), 1, size}, slabs, rows_of_sparse_matrix(), 1))
    begin.push_back(part.first - 1);
  begin.push_back(size);
  return begin;
}

/// More slabs let ranks wait less for the first and the last, (ranks - 1) / slabs of the time; but to find each row's entries in a slab
/// takes each thread as long as to add some of them. So many that both cost the same, as the rows of this rank are.
i8 number_of_slabs(i8 ranks) {
  constexpr r8 entries_in_the_time_of_a_lookup = 400;
  if (ranks == 1) return 1;
  r8 entries = 0;
  for (const sparse_row& row : store.Gs) entries += static_cast<r8>(row.idx.size());
  const r8 of_a_row =
      store.compressed ? entries / static_cast<r8>(std::max<i8>(store.Gs.size(), 1)) : store.ncol;
  const r8 of_a_thread = of_a_row / team_size();
  return std::max(ranks, static_cast<i8>(std::sqrt(static_cast<r8>(ranks - 1) * of_a_thread /
                                                   entries_in_the_time_of_a_lookup)));
}

/// pass(first, count) for all models of a block.
template <class body>
void in_passes(i8 models, body&& pass) {
  constexpr i8 at_once = 4;
  for (i8 first = 0; first < models; first += at_once) pass(first, std::min(at_once, models - first));
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
  all_.together([&] {
    refuse_pipe(sensitivity_file);
    behind_head = load_head(sensitivity_file);
  });
  check_one_file(checksum_of_head());
  all_.first_alone([&] { begin = find_rows(behind_head); });
  all_.broadcast(begin);
  all_.together([&] {
    first_row_ = even_blocks(begin, all_.size());
    load_rows(std::span<const i8>(begin).subspan(static_cast<std::size_t>(begin_of(all_.rank())),
                                                 static_cast<std::size_t>(rows_here()) + 1),
              begin.back());
  });
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
    check_data(std::ssize(d));
    const rows_at_hand at_hand(rows_here());
    GPROD(m, d.subspan(static_cast<std::size_t>(rows().first - 1), static_cast<std::size_t>(rows_here())));
  });
  all_.share(d, first_row_);
}

void spread_matrix::forward_block(array2<const r8> m, array2<r8> d) const {
  owned_array2<r8> d_here;
  all_.together([&] {
    check_data(d.extent(1));
    d_here = owned_array2<r8>(uninitialised, rows_here(), d.extent(2));
    const rows_at_hand at_hand(rows_here());
    GPROD_BLOCK(m, d_here);
  });
  for (i8 l = 0; l < d.extent(2); ++l) {
    const std::span<r8> whole = vector_of(d, l);
    std::copy_n(d_here.data() + l * d_here.extent(1), d_here.extent(1), whole.begin() + rows().first - 1);
    all_.share(whole, first_row_);
  }
}

void spread_matrix::adjoint(std::span<r8> m, std::span<const r8> d) {
  adjoint_block(block_of_one(m), block_of_one(d));
}

void spread_matrix::normal(std::span<const r8> x, std::span<r8> y) {
  normal_block(block_of_one(x), block_of_one(y));
}

void spread_matrix::adjoint_block(array2<r8> m, array2<const r8> d) {
  all_.together([&] {
    check_blocks(m.extent(2), d.extent(2));
    check_data(d.extent(1));
  });
  prepare_sums();
  in_passes(m.extent(2), [&](i8 first, i8 count) {
    packed_vectors data, sum;
    all_.together([&] {
      allocate_or_report("gtprod", [&] {
        data = packed_vectors(rows_here(), count);
        sum = packed_vectors(slab_begin_, count);
      });
      for (i8 l = 0; l < count; ++l) data.put(here(vector_of(d, first + l)), l);
    });
    sum_rows(data, sum);
    all_.together([&] { get_models(sum, part_of(m, first, count)); });
  });
}

void spread_matrix::normal_block(array2<const r8> x, array2<r8> y) {
  all_.together([&] { check_blocks(x.extent(2), y.extent(2)); });
  prepare_sums();
  in_passes(x.extent(2), [&](i8 first, i8 count) {
    packed_vectors models, data, sum;
    all_.together([&] {
      allocate_or_report("gtgprod", [&] {
        models = packed_vectors(length_of_sum(), count);
        data = packed_vectors(rows_here(), count);
        sum = packed_vectors(slab_begin_, count);
      });
      put_models(part_of(x, first, count), models);
      dots_here(models, data);
      models = {};
    });
    sum_rows(data, sum);
    all_.together([&] { get_models(sum, part_of(y, first, count)); });
  });
}

void spread_matrix::adjoint_by_reduction(std::span<r8> m, std::span<const r8> d) const {
  all_.together([&] {
    check_data(std::ssize(d));
    const rows_at_hand at_hand(rows_here());
    std::fill(m.begin(), m.end(), 0.0);
    GTPROD(m, here(d));
  });
  all_.sum(m);
}

void spread_matrix::normal_by_reduction(std::span<const r8> x, std::span<r8> y) const {
  all_.together([&] {
    const rows_at_hand at_hand(rows_here());
    std::fill(y.begin(), y.end(), 0.0);
    GTGPROD(x, y);
  });
  all_.sum(y);
}

/// sum = G' d over all ranks, on each: it goes through the ranks in slabs, and every rank adds its rows. A rank that stops passes
/// on what it gets, so that nobody waits for it.
void spread_matrix::sum_rows(packed_vectors& data, packed_vectors& sum) const {
  std::vector<messages> coming;
  messages going;
  all_.together([&] {
    coming = std::vector<messages>(static_cast<std::size_t>(sum.pieces()));
    for (i8 s = 0; s < sum.pieces(); ++s) {
      coming[static_cast<std::size_t>(s)].make_room_for(sum.piece(s));
      going.make_room_for(sum.piece(s));
    }
  });
  if (all_.first()) std::ranges::fill(sum.elements(), 0.0);
  if (!all_.first())
    for (i8 s = 0; s < sum.pieces(); ++s)
      all_.receive(sum.piece(s), all_.rank() - 1, coming[static_cast<std::size_t>(s)]);
  told_end mine;
  for (i8 s = 0; s < sum.pieces(); ++s) {
    const auto add = [&] { add_rows_here(data, sum, s); };
    coming[static_cast<std::size_t>(s)].wait();
    if (mine.end.kind == stop_or_done::done) mine = run_and_tell(std::ref(add));
    if (!all_.last()) all_.send(sum.piece(s), all_.rank() + 1, going);
  }
  going.wait();
  all_.agree(std::move(mine));
  all_.broadcast(sum.elements(), all_.size() - 1);
}

void spread_matrix::add_rows_here(packed_vectors& data, packed_vectors& sum, i8 s) const {
  r8* const piece = sum.piece(s).data();
  if (store.compressed)
    add_rows(rows_of_sparse_matrix(), order_, data.elements(), {piece, sum.begin_of(s) + 1, sum.length_of(s)},
             sum.length(), sum.width());
  else
    ADD_FULL_ROWS_BLOCK(as_block(data), sum.begin_of(s), array2<r8>(piece, sum.length_of(s), sum.width()));
}

/// Once for a matrix: how the rows stand, and slabs that take about as long each, as rank 0 finds them.
void spread_matrix::prepare_sums() {
  if (!slab_begin_.empty()) return;
  all_.together([&] {
    if (store.compressed) order_ = order_of_rows(rows_of_sparse_matrix(), length_of_sum());
    if (all_.first()) slab_begin_ = cut(number_of_slabs(all_.size()));
  });
  all_.broadcast(slab_begin_);
}

std::span<const r8> spread_matrix::here(std::span<const r8> d) const {
  return d.subspan(static_cast<std::size_t>(rows().first - 1), static_cast<std::size_t>(rows_here()));
}

void spread_matrix::check_data(i8 data) {
  if (data != store.ndata_mtx) stop_program("size(d) /= ndata");
}

void spread_matrix::check_blocks(i8 models, i8 others) {
  if (models != others) stop_program("size(x) /= size(y)");
}

}  // namespace velko
