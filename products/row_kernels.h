/// Row kernels: the scalar product of one row of G with a model or a cube, and the row added to one.
///
/// Shape    of every scalar product, fixed: eight partial sums from 0, part j of elements j, j + 8, j + 16, ... of the row
///          (j = 0..7), combined as ((0+1)+(2+3)) + ((4+5)+(6+7)), then the row's last elements, fewer than
///          eight, from left to right. So a row of fewer than eight elements is summed strictly from left to right.
///          A row that is added takes one multiplication and one addition for each element, from left to right
/// Bits     the shape leaves no freedom, so all instruction sets give the same bits
/// Widening matrix values are r4 in memory and are widened to r8 before they are multiplied
/// Safety   ncube is at least 1. An idx outside 1..ncube touches nothing outside the cube and sets `outside`, which is
///          otherwise left alone; the result is then of no use
/// Threads  none is started here; sparse_rows and full_rows share the rows out
/// See      benchmarks/bench_products.cpp, tests/products/row_kernels_test.cpp
#pragma once

#include <atomic>

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

inline constexpr i8 dense_rows_at_once = 4;

struct row_kernels {
  /// Dense row g times model m, both of n elements.
  r8 (*row_dot)(const r4* g, const r8* m, i8 n);
  /// y(r) = row_dot of row r, for dense_rows_at_once rows that stand one behind another in memory, n elements
  /// each: the model is read once for all of them.
  void (*row_dots)(const r4* g, const r8* m, i8 n, r8* y);
  /// Sparse row of nnz elements times cube: val(k) * cube(idx(k)), idx from 1.
  r8 (*sparse_row_dot)(const r4* val, const i4* idx, i8 nnz, const r8* cube, i8 ncube,
                       std::atomic<bool>& outside);
  /// Adds dense row g, times s, to y: y(k) += g(k) * s, n elements.
  void (*add_row)(const r4* g, r8 s, i8 n, r8* y);
  /// add_row of row r, times s(r), for dense_rows_at_once rows that stand one behind another in memory: y is read and
  /// written once for all of them. The same bits as one after another.
  void (*add_rows)(const r4* g, const r8* s, i8 n, r8* y);
  /// Adds a sparse row, times s, to the cube: cube(idx(k)) += val(k) * s, idx from 1. An idx may stand there twice.
  void (*add_sparse_row)(const r4* val, const i4* idx, i8 nnz, r8 s, r8* cube, i8 ncube,
                         std::atomic<bool>& outside);
};

/// The kernels compiled for the set. The machine must have it.
const row_kernels& row_kernels_for(instruction_set set);

/// The kernels that the products use on this machine.
const row_kernels& best_row_kernels();

}  // namespace velko
