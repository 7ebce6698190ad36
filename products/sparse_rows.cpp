#include "products/sparse_rows.h"

#include <emmintrin.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

#include "products/row_kernels.h"
#include "reports/interruption.h"
#include "store/getpar.h"
#include "store/state.h"
#include "threads/team.h"

namespace velko {
namespace {

/// A count below 1 is none, and stays clear of the end of the 32 bits.
row_range all_rows() {
  prepare_rows();
  if (survey.ndata > store.Gs.size()) stop_program("ndata > # of rows");
  return {1, std::max(survey.ndata, 0)};
}

row_range rows_for(std::span<const r8> data, i8 models) {
  if (std::ssize(data) < survey.ndata * models) stop_program("size(data) < ndata");
  return all_rows();
}

/// The kernels put positions outside the cube into it, so it needs an element.
void check_any_cube(i8 ncube, row_range rows) {
  if (ncube > 0) return;
  for (i8 i = rows.first; i <= rows.last; ++i)
    if (store.Gs(i).idx.size() > 0) stop_program("idx outside the cube");
}

/// Rows of a file that is no longer what was loaded may hold any position.
void check_rows(bool outside) {
  check_rows_in_place();
  if (outside) stop_program("idx outside the cube");
}

// Cubes beyond the caches are cleared past them: half the traffic.
constexpr i8 beyond_the_caches = i8{16} << 20;

void clear_past_the_caches(r8* y, i8 n) {
  i8 k = 0;
  for (; k < n && reinterpret_cast<std::uintptr_t>(y + k) % 64 != 0; ++k) y[k] = 0;
  for (; k + 8 <= n; k += 8)
    for (i8 j = 0; j < 8; j += 2) _mm_stream_pd(y + k + j, _mm_setzero_pd());
  for (; k < n; ++k) y[k] = 0;
  _mm_sfence();
}

/// By all threads of the team that calls.
void clear(std::span<r8> y) {
  constexpr i8 piece = 1 << 15;
  const bool past = std::ssize(y) * i8{sizeof(r8)} > beyond_the_caches;
#pragma omp for schedule(static)
  for (i8 at = 0; at < std::ssize(y); at += piece) {
    const i8 n = std::min(piece, std::ssize(y) - at);
    past ? clear_past_the_caches(y.data() + at, n) : void(std::fill_n(y.data() + at, n, 0.0));
  }
}

i8 entries_of_rows(row_range rows) {
  i8 entries = 0;
  for (i8 i = rows.first; i <= rows.last; ++i) entries += store.Gs(i).idx.size();
  return entries;
}

/// One sum over rows of `models` interleaved vectors, formed by slabs.
class slab_sum {
 public:
  slab_sum(const slab& whole, i8 ncube, row_range rows, row_order order, i8 models)
      : models_(models), order_(order), kernels_(best_sparse_kernels(models)) {
    for (const slab& cut : cut_into_slabs(whole, std::min<i8>(team_size(), whole.size), rows, models))
      parts_.push_back({cut, entries_in_slab(cut, ncube, rows.last)});
  }

  i8 parts() const { return std::ssize(parts_); }

  /// Adds rows to one part; s(l, 1) is the factor of the first of them. To be called for the rows in their order.
  void add_to_part(i8 number, row_range rows, const r8* s) {
    part& mine = parts_[static_cast<std::size_t>(number)];
    if (mine.to.size == 0) return;
    for (i8 i = rows.first; i <= rows.last && !interruption_is_asked_for(); ++i, s += models_)
      order_ == row_order::ascending ? add_entries_of_slab(mine, i, s) : add_entries_in_slab(mine.to, i, s);
  }

  /// Whether all entries that were added as ascending ones lay in their slab.
  bool in_place() const { return !outside_; }
  /// How many those were.
  i8 entries() const {
    i8 sum = 0;
    for (const part& p : parts_) sum += p.added;
    return sum;
  }

 private:
  struct alignas(64) part {
    slab to;
    entries_in_slab entries;
    i8 added = 0;
  };

  void add_entries_of_slab(part& mine, i8 i, const r8* s) {
    const row_entries row = mine.entries.of(i);
    kernels_.add_row(row, s, mine.to, outside_);
    mine.added += row.nnz;
  }

  /// The same for a row in any order: all its entries are looked at.
  void add_entries_in_slab(const slab& to, i8 i, const r8* s) const {
    const row_entries row = entries_of(store.Gs(i));
    for (i8 k = 0; k < row.nnz; ++k) {
      const i8 at = row.idx[k] - to.first;
      if (at < 0 || at >= to.size) continue;
      for (i8 l = 0; l < models_; ++l) to.elements[at * models_ + l] += r8{row.val[k]} * s[l];
    }
  }

  i8 models_;
  row_order order_;
  const sparse_kernels& kernels_;
  std::vector<part> parts_;
  std::atomic<bool> outside_ = false;
};

/// By all threads of the team that calls; who is done with a part goes on.
void add_by_slabs(slab_sum& sum, row_range rows, const r8* v) {
#pragma omp for schedule(static) nowait
  for (i8 part = 0; part < sum.parts(); ++part) sum.add_to_part(part, rows, v);
}

/// y, which add(sum) clears, is summed by slabs. add is called by each thread of a team. If the rows prove not to ascend, once more,
/// in any order.
template <class body>
void sum_into_cube(std::span<r8> y, row_range rows, i8 models, body&& add) {
  const i8 ncube = std::ssize(y) / models;
  check_any_cube(ncube, rows);
  if (ncube == 0) return;
  const slab whole{y.data(), 1, ncube};
  const auto add_in_order = [&](row_order order) {
    slab_sum sum(whole, ncube, rows, order, models);
#pragma omp parallel num_threads(team_size())
    add(sum);
    check_rows_in_place();
    return sum.in_place() && sum.entries() == entries_of_rows(rows);
  };
  if (add_in_order(row_order::ascending)) return;
  order_of_rows(rows, ncube);
  add_in_order(row_order::any);
}

/// A block of rows: their dots are formed, then they are added. With cubes that the second caches hold it is one that the third
/// holds, so that G comes from memory once. Larger cubes take turns in the caches, and would come again for every
/// block: there the rows come twice, and a block ends only so that its dots take no more memory than counts.
struct block_limits {
  i8 bytes, rows;
};

block_limits limits_for(i8 ncube, i8 models, i8 threads) {
  constexpr i8 second_cache = i8{2} << 20, third_cache = i8{8} << 20, of_a_thread = i8{512} << 10;
  constexpr i8 fewest_rows = 1024, any = std::numeric_limits<i8>::max();
  const bool cached = 2 * ncube * models * i8{sizeof(r8)} <= second_cache;
  return {cached ? std::max(third_cache, threads * of_a_thread) : any, std::max(fewest_rows, ncube / 16)};
}

/// From `first` on; as many rows for each thread, where there are enough.
row_range block_from(i8 first, i8 last, i8 threads, const block_limits& limits) {
  constexpr i8 entry_bytes = sizeof(i4) + sizeof(r4);
  const i8 most = std::min(last, first + limits.rows - 1);
  i8 end = first;
  for (i8 bytes = 0; end <= most && bytes < limits.bytes; ++end)
    bytes += store.Gs(end).idx.size() * entry_bytes;
  const i8 rows = end - first;
  return {first, first + (rows > threads ? rows / threads * threads : rows) - 1};
}

/// y = Gs' Gs v, as one of a team. Two blocks of dots in turn: who is done with a block may go on to the next. y is cleared
/// behind the first dots: it is in the caches then for what is added.
void sum_normal_rows(slab_sum& sum, row_range rows, std::span<const r8> v, i8 models, std::span<r8> dots,
                     std::span<r8> y) {
  const sparse_kernels& kernels = best_sparse_kernels(models);
  const i8 ncube = std::ssize(v) / models;
  std::atomic<bool> outside = false;  // the slabs tell
  const block_limits limits = limits_for(ncube, models, sum.parts());
  r8* s = dots.data();
  r8* next = s + std::ssize(dots) / 2;
  for (row_range block{0, rows.first - 1}; block.last < rows.last; std::swap(s, next)) {
    block = block_from(block.last + 1, rows.last, sum.parts(), limits);
#pragma omp for schedule(static)
    for (i8 i = block.first; i <= block.last; ++i)
      if (!interruption_is_asked_for())
        kernels.row_dots(entries_of(store.Gs(i)), v.data(), ncube, s + (i - block.first) * models, outside);
    if (block.first == rows.first) clear(y);
    add_by_slabs(sum, block, s);
  }
  if (rows.last < rows.first) clear(y);
}

}  // namespace

void CALC_GV(std::span<const r8> v, std::span<r8> y, i8 models) {
  dots_of_rows(rows_for(y, models), v, y, models);
}

void CALC_GTV(std::span<const r8> v, std::span<r8> y, i8 models) {
  const row_range rows = rows_for(v, models);
  sum_into_cube(y, rows, models, [&](slab_sum& sum) {
    clear(y);
    add_by_slabs(sum, rows, v.data());
  });
}

void CALC_GTGV_1LOOP(std::span<const r8> v, std::span<r8> y, i8 models) {
  assert(v.size() == y.size());
  const row_range rows = all_rows();
  const i8 block_rows = std::min(limits_for(std::ssize(v) / models, models, 1).rows, rows.last);
  std::vector<r8> dots(static_cast<std::size_t>(2 * std::max(block_rows, i8{0}) * models));
  sum_into_cube(y, rows, models, [&](slab_sum& sum) { sum_normal_rows(sum, rows, v, models, dots, y); });
}

void dots_of_rows(row_range rows, std::span<const r8> v, std::span<r8> y, i8 models) {
  const sparse_kernels& kernels = best_sparse_kernels(models);
  const i8 ncube = std::ssize(v) / models;
  std::atomic<bool> outside = false;
  check_any_cube(ncube, rows);
  do {
    outside = false;
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (i8 i = rows.first; i <= rows.last; ++i)
      if (!interruption_is_asked_for())
        kernels.row_dots(entries_of(store.Gs(i)), v.data(), ncube, y.data() + (i - 1) * models, outside);
  } while (rows_renewed());
  if (outside) stop_program("idx outside the cube");
}

row_order order_of_rows(row_range rows, i8 ncube) {
  bool ascending = true, outside = false;
#pragma omp parallel for schedule(static) reduction(&& : ascending) reduction(|| : outside) num_threads(team_size())
  for (i8 i = rows.first; i <= rows.last; ++i) {
    i8 before = 0;
    for (const i4 idx : store.Gs(i).idx) {
      ascending = ascending && idx >= before;
      outside = outside || idx < 1 || idx > ncube;
      before = idx;
    }
  }
  check_rows(outside);
  return ascending ? row_order::ascending : row_order::any;
}

void add_rows(row_range rows, row_order order, std::span<const r8> v, const slab& to, i8 ncube, i8 models) {
  if (to.size == 0 || rows.last < rows.first) return;
  slab_sum sum(to, ncube, rows, order, models);
#pragma omp parallel num_threads(team_size())
  add_by_slabs(sum, rows, v.data() + (rows.first - 1) * models);
  check_rows_in_place();
  if (!sum.in_place()) stop_program("idx do not ascend");
}

}  // namespace velko
