/// GTGPROD_MOD: the row loops on the compressed matrix, Gs.
///
/// Reads    store.Gs and survey.ndata; the rows are read in place and never written
/// Asks     every idx within 1..ncube, which the products make sure of, and ndata rows
/// Threads  OpenMP, static: each thread takes one contiguous block of rows. A row writes its own element of y
///          alone, so the result is the same for every number of threads
/// See      products/row_kernels.h for the order of each sum
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// y(i) = sum over k of val(k) * v(idx(k)), row i of Gs, for i = 1 to ndata. v is a transformed cube. y is not
/// read; a row with no elements gives 0; with ndata below 1 nothing is written.
void CALC_GV(std::span<const r8> v, std::span<r8> y);

}  // namespace velko
