/// FULL_SENS_MOD: the row loops on the dense matrix, Gfull.
///
/// Reads    store.Gfull; the rows are read in place and never written
/// Asks     a model vector of ncol elements: its length is the extent of the inner loop
/// Threads  OpenMP, static: each thread takes one contiguous block of rows. A row writes its own element of y
///          alone, so the result is the same for every number of threads
/// See      products/row_kernels.h for the order of each sum
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// y(i) = sum over k of Gfull(k, i) * v(k), for every row i of Gfull. y is not read; a model of no elements
/// gives 0; with no rows nothing is written.
void CALC_FULL_GV(std::span<const r8> v, std::span<r8> y);

}  // namespace velko
