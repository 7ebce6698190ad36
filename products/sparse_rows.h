/// GTGPROD_MOD: the row loops on the compressed matrix, Gs.
///
/// What     CALC_GV    y = Gs v      a cube to data       each row writes its own element of y
///          CALC_GTV   y = Gs' v     data to a cube       rows scatter: private sums
///          CALC_GTGV_1LOOP  y = Gs' Gs v  cube to cube   rows scatter: private sums
/// Shapes   a cube, here one of transform coefficients, has ncube elements, data have ndata
/// Reads    store.Gs and survey.ndata; the rows are read in place and never written
/// Asks     ndata rows
/// Errors   "ndata > # of rows", "size(data) < ndata" where the survey or a data vector does not fit the rows.
///          memory_refused for the private sums. Behind the loop the read message of getpar, where the rows stand in
///          the sensitivity file and it has been changed; "idx outside the cube" where one of the ndata rows points
///          there: y is then written, and of no use
/// Threads  OpenMP, static: each thread takes one contiguous block of rows. CALC_GV gives the same bits for every
///          number of threads, the other two for a given one
/// See      products/row_kernels.h for the order of each sum, products/private_sums.h for that of the rows
#pragma once

#include <span>

#include "arrays/numbers.h"

namespace velko {

/// y(i) = sum over k of val(k) * v(idx(k)), row i of Gs, for i = 1 to ndata. v is a transformed cube. y is not
/// read; a row with no elements gives 0; with ndata below 1 nothing is written.
void CALC_GV(std::span<const r8> v, std::span<r8> y);

/// y, a cube, is cleared; then y(idx(k)) += val(k) * v(i), for i = 1 to ndata and every k of row i.
void CALC_GTV(std::span<const r8> v, std::span<r8> y);

/// y, a cube, is cleared; then, for i = 1 to ndata, row i times v is formed as in CALC_GV and the row, times that, added
/// to y as in CALC_GTV. One pass over the rows. v and y are two cubes.
void CALC_GTGV_1LOOP(std::span<const r8> v, std::span<r8> y);

}  // namespace velko
