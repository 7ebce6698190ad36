#include "products/full_rows.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <iterator>

#include "products/private_sums.h"
#include "products/row_kernels.h"
#include "store/state.h"

namespace velko {
namespace {

/// Rows go in groups that share one pass over the model; the last group may be smaller.
struct row_group {
  i8 first, size;  // the first row, counted from 0

  const r4* row(i8 r) const { return store.Gfull.data() + (first + r) * store.Gfull.extent(1); }
  /// Whether a kernel for several rows takes the group: it is full, and the model has an element for every column.
  bool goes_at_once(i8 n) const { return size == dense_rows_at_once && n == store.Gfull.extent(1); }
};

i8 group_count() {
  return (store.Gfull.extent(2) + dense_rows_at_once - 1) / dense_rows_at_once;
}

row_group group_of_rows(i8 group) {
  const i8 first = group * dense_rows_at_once;
  return {first, std::min(dense_rows_at_once, store.Gfull.extent(2) - first)};
}

/// y(r) = row r of the group times v.
void dots(const row_group& rows, std::span<const r8> v, r8* y) {
  const row_kernels& kernels = best_row_kernels();
  const i8 n = std::ssize(v);
  if (rows.goes_at_once(n)) return kernels.row_dots(rows.row(0), v.data(), n, y);
  for (i8 r = 0; r < rows.size; ++r) y[r] = kernels.row_dot(rows.row(r), v.data(), n);
}

/// Adds the rows of the group, row r times s(r), to sum, a model of n elements.
void add(const row_group& rows, const r8* s, i8 n, r8* sum) {
  const row_kernels& kernels = best_row_kernels();
  if (rows.goes_at_once(n)) return kernels.add_rows(rows.row(0), s, n, sum);
  for (i8 r = 0; r < rows.size; ++r) kernels.add_row(rows.row(r), s[r], n, sum);
}

[[maybe_unused]] bool is_model(std::span<const r8> v) {
  return static_cast<i8>(v.size()) <= store.Gfull.extent(1);
}

[[maybe_unused]] bool is_data(std::span<const r8> v) {
  return static_cast<i8>(v.size()) >= store.Gfull.extent(2);
}

}  // namespace

void CALC_FULL_GV(std::span<const r8> v, std::span<r8> y) {
  assert(is_model(v) && is_data(y));
  const i8 groups = group_count();
#pragma omp parallel for schedule(static)
  for (i8 group = 0; group < groups; ++group) {
    const row_group rows = group_of_rows(group);
    dots(rows, v, y.data() + rows.first);
  }
}

void CALC_FULL_GTV(std::span<const r8> v, std::span<r8> y) {
  assert(is_data(v) && is_model(y));
  sum_blocks(y, group_count(), [&](i8 group, r8* sum) {
    const row_group rows = group_of_rows(group);
    add(rows, v.data() + rows.first, std::ssize(y), sum);
  });
}

void CALC_FULL_GTGV(std::span<const r8> v, std::span<r8> y) {
  assert(is_model(v) && is_model(y));
  sum_blocks(y, group_count(), [&](i8 group, r8* sum) {
    const row_group rows = group_of_rows(group);
    std::array<r8, dense_rows_at_once> s;
    dots(rows, v, s.data());
    add(rows, s.data(), std::ssize(y), sum);
  });
}

}  // namespace velko
