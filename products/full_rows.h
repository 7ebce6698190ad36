/// FULL_SENS_MOD: the row loops on the dense matrix, Gfull.
///
/// What     CALC_FULL_GV    y = Gfull v         a model to data    rows are shared out: each writes its own element of y
///          CALC_FULL_GTV   y = Gfull' v        data to a model    columns are shared out
///          CALC_FULL_GTGV  y = Gfull' Gfull v  model to model     both in turn, for a block of rows
/// Shapes   of several models at once: one behind another, and so their data. G is then read once for four of them
/// Reads    store.Gfull; the rows are read in place and never written. Where they stand in the sensitivity file, a file that
///          was changed under them ends the program (docs/rows_in_place.md)
/// Asks     model vectors of ncol elements, data vectors of an element for each row of Gfull. A model that is shorter
///          stands for the first columns; a longer one is the caller's mistake
/// Bits     every scalar product has the shape of products/row_kernels.h, and every element of a model is summed in the
///          order of the rows: the same for every number of threads. Each of several models has the bits that it has alone
/// Memory   none but that of v and y, up to some KiB for each thread
/// Threads  OpenMP, as many as the run-time gives
/// See      benchmarks/bench_products.cpp, benchmarks/bench_adjoint.cpp
#pragma once

#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// y(i) = sum over k of Gfull(k, i) * v(k), for every row i of Gfull and every k of v. y is not read; a model of no elements
/// gives 0; with no rows nothing is written.
void CALC_FULL_GV(std::span<const r8> v, std::span<r8> y);

/// y, a model, is cleared over its whole length; then y(k) += Gfull(k, i) * v(i), for every row i and every k of y.
void CALC_FULL_GTV(std::span<const r8> v, std::span<r8> y);

/// y, a model, is cleared; then, for every row i of Gfull, row i times v is formed as in CALC_FULL_GV and the row, times
/// that, added to y as in CALC_FULL_GTV. One pass over the rows. v and y are two vectors.
void CALC_FULL_GTGV(std::span<const r8> v, std::span<r8> y);

/// The same for several models: v(:, l) gives y(:, l). v and y have as many of them.
void CALC_FULL_GV_BLOCK(array2<const r8> v, array2<r8> y);
void CALC_FULL_GTV_BLOCK(array2<const r8> v, array2<r8> y);
void CALC_FULL_GTGV_BLOCK(array2<const r8> v, array2<r8> y);

/// CALC_FULL_GTV_BLOCK for a part of the models, without clearing it: y(k, l) += Gfull(column + k, i) * v(i, l), for every row i, in this
/// order, and every k of y. So a sum over rows of several parts of G may be formed in pieces, and has the bits of CALC_FULL_GTV where it
/// starts from zeros.
void ADD_FULL_ROWS_BLOCK(array2<const r8> v, i8 column, array2<r8> y);

}  // namespace velko
