#include "products/full_rows.h"

#include <omp.h>

#include <algorithm>
#include <cassert>
#include <utility>

#include "products/row_kernels.h"
#include "reports/interruption.h"
#include "store/getpar.h"
#include "store/state.h"
#include "threads/team.h"

namespace velko {
namespace {

/// Rows go in groups that share one pass over the model; the last group may be smaller.
struct row_group {
  i8 first, size;  // the first row, counted from 0
  i8 column;       // the first column

  const r4* row(i8 r) const { return store.Gfull.first() + (first + r) * stride() + column; }
  static i8 stride() { return store.Gfull.leading_dimension(); }
  bool is_full() const { return size == dense_rows_at_once; }
};

/// Rows from first to end - 1, counted from 0.
struct row_block {
  i8 first, end;
  i8 column = 0;  // the first, counted from 0

  i8 groups() const { return (end - first + dense_rows_at_once - 1) / dense_rows_at_once; }
  row_group group(i8 number) const {
    const i8 start = first + number * dense_rows_at_once;
    return {start, std::min(dense_rows_at_once, end - start), column};
  }
};

row_block all_rows() {
  return {0, store.Gfull.extent(2)};
}

/// The columns of vectors that stand one behind another, each of n elements.
template <class number>
struct vectors {
  number* first;
  i8 n, count, stride;

  number* vector(i8 l) const { return first + l * stride; }
};

template <class number>
vectors<number> vectors_of(array2<number> a) {
  return {a.data(), a.extent(1), a.extent(2), a.extent(1)};
}

/// y(r) of model l = row r of the group times model l.
void dots(const row_group& rows, const vectors<const r8>& v, const vectors<r8>& y) {
  if (interruption_is_asked_for()) return;
  const row_kernels& kernels = best_row_kernels();
  i8 l = 0;
  for (; l + dense_models_at_once <= v.count; l += dense_models_at_once)
    for (i8 r = 0; r < rows.size; ++r) {
      r8 of_models[dense_models_at_once];
      kernels.row_dots_of_models(rows.row(r), v.vector(l), v.stride, v.n, of_models);
      for (i8 m = 0; m < dense_models_at_once; ++m) y.vector(l + m)[r] = of_models[m];
    }
  for (; l < v.count; ++l)
    if (rows.is_full())
      kernels.row_dots(rows.row(0), row_group::stride(), v.vector(l), v.n, y.vector(l));
    else
      for (i8 r = 0; r < rows.size; ++r) y.vector(l)[r] = kernels.row_dot(rows.row(r), v.vector(l), v.n);
}

/// Adds columns first to first + n - 1 of the group, row r times s(r) of model l, to y.
void add(const row_group& rows, const vectors<const r8>& s, i8 first, i8 n, const vectors<r8>& y) {
  const row_kernels& kernels = best_row_kernels();
  for (i8 l = 0; l < y.count; ++l)
    if (rows.is_full())
      kernels.add_rows(rows.row(0) + first, row_group::stride(), s.vector(l), n, y.vector(l) + first);
    else
      for (i8 r = 0; r < rows.size; ++r)
        kernels.add_row(rows.row(r) + first, s.vector(l)[r], n, y.vector(l) + first);
}

/// The columns of y in pieces that are added to at a time, as many for each thread: a piece of y stays in the first cache,
/// and a row's piece is long enough to be read ahead.
struct column_tiles {
  i8 n, count, size;

  explicit column_tiles(i8 columns) : n(columns) {
    constexpr i8 most = 2048, line = 8;
    const i8 threads = team_size();
    size = (n / (threads * ((n + threads * most - 1) / (threads * most) + (n == 0))) / line + 1) * line;
    count = (n + size - 1) / size;
  }
  i8 first(i8 tile) const { return tile * size; }
  i8 length(i8 tile) const { return std::min(size, n - first(tile)); }
};

/// Adds a block of rows to one tile of y; s is that of the block's first row.
void add_to_tile(const column_tiles& tiles, i8 tile, const row_block& block, const vectors<const r8>& s,
                 const vectors<r8>& y) {
  for (i8 g = 0; g < block.groups() && !interruption_is_asked_for(); ++g) {
    const row_group rows = block.group(g);
    add(rows, {s.first + (rows.first - block.first), s.n, s.count, s.stride}, tiles.first(tile),
        tiles.length(tile), y);
  }
}

void clear_tile(const column_tiles& tiles, i8 tile, const vectors<r8>& y) {
  for (i8 l = 0; l < y.count; ++l) std::fill_n(y.vector(l) + tiles.first(tile), tiles.length(tile), 0.0);
}

/// A block of rows that its threads' second caches hold, as many groups for each.
i8 rows_of_a_block(i8 n) {
  constexpr i8 bytes = i8{512} << 10, most = 64;
  const i8 rows = std::clamp(bytes / std::max<i8>(n * i8{sizeof(r4)}, 1), dense_rows_at_once, most);
  return rows / dense_rows_at_once * dense_rows_at_once * team_size();
}

[[maybe_unused]] bool is_model(const vectors<const r8>& v) {
  return v.n <= store.Gfull.extent(1);
}

[[maybe_unused]] bool is_data(const vectors<const r8>& v) {
  return v.n >= store.Gfull.extent(2);
}

vectors<const r8> as_const(const vectors<r8>& v) {
  return {v.first, v.n, v.count, v.stride};
}

}  // namespace

void CALC_FULL_GV_BLOCK(array2<const r8> models, array2<r8> data) {
  const vectors<const r8> v = vectors_of(models);
  const vectors<r8> y = vectors_of(data);
  assert(is_model(v) && is_data(as_const(y)) && v.count == y.count);
  prepare_rows();
  do {
    const row_block rows = all_rows();
#pragma omp parallel for schedule(static) num_threads(team_size())
    for (i8 g = 0; g < rows.groups(); ++g) {
      const row_group group = rows.group(g);
      dots(group, v, {y.first + group.first, group.size, y.count, y.stride});
    }
  } while (rows_renewed());
}

void CALC_FULL_GTV_BLOCK(array2<const r8> data, array2<r8> models) {
  const vectors<const r8> v = vectors_of(data);
  const vectors<r8> y = vectors_of(models);
  assert(is_data(v) && is_model(as_const(y)) && v.count == y.count);
  prepare_rows();
  const column_tiles tiles(y.n);
#pragma omp parallel for schedule(static) num_threads(team_size())
  for (i8 tile = 0; tile < tiles.count; ++tile) {
    clear_tile(tiles, tile, y);
    add_to_tile(tiles, tile, all_rows(), v, y);
  }
  check_rows_in_place();
}

void ADD_FULL_ROWS_BLOCK(array2<const r8> data, i8 column, array2<r8> models) {
  const vectors<const r8> v = vectors_of(data);
  const vectors<r8> y = vectors_of(models);
  assert(is_data(v) && column + y.n <= store.Gfull.extent(1));
  const column_tiles tiles(y.n);
#pragma omp parallel for schedule(static) num_threads(team_size())
  for (i8 tile = 0; tile < tiles.count; ++tile) add_to_tile(tiles, tile, {0, all_rows().end, column}, v, y);
  check_rows_in_place();
}

void CALC_FULL_GTGV_BLOCK(array2<const r8> from, array2<r8> to) {
  const vectors<const r8> v = vectors_of(from);
  const vectors<r8> y = vectors_of(to);
  assert(is_model(v) && is_model(as_const(y)) && v.count == y.count);
  prepare_rows();
  const i8 rows = all_rows().end, at_once = rows_of_a_block(y.n);
  const column_tiles tiles(y.n);
  // Two blocks of dots in turn: who is done with a block may go on to the next.
  owned_array3<r8> products(uninitialised, at_once, v.count, 2);
#pragma omp parallel num_threads(team_size())
  {
#pragma omp for schedule(static)
    for (i8 tile = 0; tile < tiles.count; ++tile) clear_tile(tiles, tile, y);
    i8 turn = 0;
    for (i8 first = 0; first < rows; first += at_once, turn = 1 - turn) {
      const row_block block{first, std::min(first + at_once, rows)};
      const vectors<r8> s{products.data() + turn * at_once * v.count, at_once, v.count, at_once};
#pragma omp for schedule(static)
      for (i8 g = 0; g < block.groups(); ++g) {
        const row_group group = block.group(g);
        dots(group, v, {s.first + (group.first - first), group.size, s.count, s.stride});
      }
#pragma omp for schedule(static) nowait
      for (i8 tile = 0; tile < tiles.count; ++tile) add_to_tile(tiles, tile, block, as_const(s), y);
    }
  }
  check_rows_in_place();
}

void CALC_FULL_GV(std::span<const r8> v, std::span<r8> y) {
  CALC_FULL_GV_BLOCK(array2<const r8>(v.data(), v.size(), 1), array2<r8>(y.data(), y.size(), 1));
}

void CALC_FULL_GTV(std::span<const r8> v, std::span<r8> y) {
  CALC_FULL_GTV_BLOCK(array2<const r8>(v.data(), v.size(), 1), array2<r8>(y.data(), y.size(), 1));
}

void CALC_FULL_GTGV(std::span<const r8> v, std::span<r8> y) {
  CALC_FULL_GTGV_BLOCK(array2<const r8>(v.data(), v.size(), 1), array2<r8>(y.data(), y.size(), 1));
}

}  // namespace velko
