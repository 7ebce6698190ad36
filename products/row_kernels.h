/// Row kernels: the scalar product of one row of G with a model or a cube, and the row added to one; for one model, or
/// for several at a time.
///
/// Shape    of every scalar product, fixed: eight partial sums from 0, part j of elements j, j + 8, j + 16, ... of the row
///          (j = 0..7), combined as ((0+1)+(2+3)) + ((4+5)+(6+7)), then the row's last elements, fewer than
///          eight, from left to right. So a row of fewer than eight elements is summed strictly from left to right.
///          A row that is added takes one multiplication and one addition for each element, from left to right
/// Bits     the shape leaves no freedom, so all instruction sets give the same bits
/// Widening matrix values are r4 in memory and are widened to r8 before they are multiplied
/// Models   several cubes lie interleaved: the elements of all at one position, then those at the next. Each model has the
///          bits that it has alone
/// Safety   a cube, or a slab of it, has at least one element. An idx outside touches nothing outside and sets `outside`,
///          which is otherwise left alone; the result is then of no use
/// Threads  none is started here; sparse_rows and full_rows share the work out
/// See      benchmarks/bench_products.cpp, tests/products/row_kernels_test.cpp
#pragma once

#include <array>
#include <atomic>

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

inline constexpr i8 dense_rows_at_once = 4;
inline constexpr i8 dense_models_at_once = 4;

/// A row of Gs, or a piece of one: nnz values and their positions in the cube, from 1. What comes after it is asked for
/// ahead, and not read: it may stand anywhere.
struct row_entries {
  const r4* val;
  const i4* idx;
  i8 nnz;
  const r4* next_val = nullptr;
  const i4* next_idx = nullptr;
};

/// The elements of a cube at positions first (from 1) to first + size - 1, at least one; of all cubes, where several lie
/// interleaved.
struct slab {
  r8* elements;
  i8 first, size;
};

/// The kernels of dense rows.
struct row_kernels {
  /// Row g times model m, both of n elements.
  r8 (*row_dot)(const r4* g, const r8* m, i8 n);
  /// y(r) = row_dot of row r, for dense_rows_at_once rows, each `stride` elements behind the one before: the model is
  /// read once for all of them.
  void (*row_dots)(const r4* g, i8 stride, const r8* m, i8 n, r8* y);
  /// y(l) = row_dot of row g with model l, for dense_models_at_once models, each `stride` elements behind the one before.
  void (*row_dots_of_models)(const r4* g, const r8* m, i8 stride, i8 n, r8* y);
  /// Adds row g, times s, to y: y(k) += g(k) * s, n elements.
  void (*add_row)(const r4* g, r8 s, i8 n, r8* y);
  /// add_row of row r, times s(r), for dense_rows_at_once rows, each `stride` elements behind the one before: y is read
  /// and written once for all of them. The same bits as one after another.
  void (*add_rows)(const r4* g, i8 stride, const r8* s, i8 n, r8* y);
};

/// The kernels of sparse rows, for one cube or for several that lie interleaved.
struct sparse_kernels {
  i8 models;
  /// y(l) = sum over k of val(k) * cube l (idx(k)), cubes of ncube elements each.
  void (*row_dots)(const row_entries& row, const r8* cubes, i8 ncube, r8* y, std::atomic<bool>& outside);
  /// Adds the row, times s(l), to slab l: val(k) * s(l) at idx(k). An idx may stand there twice.
  void (*add_row)(const row_entries& row, const r8* s, const slab& to, std::atomic<bool>& outside);
};

/// Widths that there are kernels for.
inline constexpr std::array<i8, 4> numbers_of_models{1, 2, 4, 8};

/// The kernels compiled for the set. The machine must have it.
const row_kernels& row_kernels_for(instruction_set set);
const sparse_kernels& sparse_kernels_for(instruction_set set, i8 models);

/// The kernels that the products use on this machine.
const row_kernels& best_row_kernels();
const sparse_kernels& best_sparse_kernels(i8 models);

}  // namespace velko
