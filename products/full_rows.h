/// FULL_SENS_MOD: the row loops on the dense matrix, Gfull.
///
/// What     CALC_FULL_GV    y = Gfull v         a model to data    each row writes its own element of y
///          CALC_FULL_GTV   y = Gfull' v        data to a model    rows are added up: private sums
///          CALC_FULL_GTGV  y = Gfull' Gfull v  model to model     rows are added up: private sums
/// Reads    store.Gfull; the rows are read in place and never written
/// Asks     model vectors of ncol elements, data vectors of an element for each row of Gfull. A model that is shorter
///          stands for the first columns; a longer one is the caller's mistake
/// Errors   memory_refused for the private sums
/// Threads  OpenMP, static: each thread takes one contiguous block of rows. CALC_FULL_GV gives the same bits for every
///          number of threads, the other two for a given one
/// See      products/row_kernels.h for the order of each sum, products/private_sums.h for that of the rows
#pragma once

#include <span>

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

}  // namespace velko
