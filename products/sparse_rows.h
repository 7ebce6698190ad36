/// GTGPROD_MOD: the row loops on the compressed matrix, Gs.
///
/// What     CALC_GV    y = Gs v      a cube to data       rows are shared out: each writes its own element of y
///          CALC_GTV   y = Gs' v     data to a cube       the cube is shared out, in slabs
///          CALC_GTGV_1LOOP  y = Gs' Gs v  cube to cube   both in turn, for a block of rows that stays in the caches
///          dots_of_rows, add_rows  CALC_GV and CALC_GTV for a part of the rows, and of the cube: what a program that
///          shares G out over several machines is made of
/// Shapes   a cube, here one of transform coefficients, has ncube elements, data have ndata. `models` of them, 1, 2, 4 or
///          8, may lie interleaved: y(l, i) is element i of model l, and the model is the fastest index. G is then read
///          once for all, and each model has the bits that it has alone
/// Reads    store.Gs and survey.ndata; the rows are read in place and never written
/// Asks     ndata rows
/// Bits     every scalar product has the shape of products/row_kernels.h, and every element of a cube is summed in the order
///          of the rows, from 0 or from what it held: the same bits for every number of threads, and CALC_GTGV_1LOOP
///          gives those of CALC_GV and then CALC_GTV
/// Memory   none but that of v and y, up to some KiB for each thread
/// Errors   "ndata > # of rows", "size(data) < ndata" where the survey or a data vector does not fit the rows. Behind the
///          loop the read message of getpar, where the rows stand in the sensitivity file and it has been changed; "idx
///          outside the cube" where one of the rows points there: y is then written, and of no use
/// Order    nothing promises that the idx of a row ascend. Where they don't, the adjoint loops find out and begin again, each
///          thread looking at all entries: the same bits, more time
/// Threads  OpenMP, as many as the run-time gives
/// See      products/slabs.h; benchmarks/bench_rows.cpp
#pragma once

#include <span>

#include "arrays/numbers.h"
#include "products/slabs.h"

namespace velko {

/// y(i) = sum over k of val(k) * v(idx(k)), row i of Gs, for i = 1 to ndata. v is a transformed cube. y is not
/// read; a row with no elements gives 0; with ndata below 1 nothing is written.
void CALC_GV(std::span<const r8> v, std::span<r8> y, i8 models = 1);

/// y, a cube, is cleared; then y(idx(k)) += val(k) * v(i), for i = 1 to ndata and every k of row i.
void CALC_GTV(std::span<const r8> v, std::span<r8> y, i8 models = 1);

/// y, a cube, is cleared; then, for i = 1 to ndata, row i times v is formed as in CALC_GV and the row, times that, added
/// to y as in CALC_GTV. One pass over the rows. v and y are two cubes.
void CALC_GTGV_1LOOP(std::span<const r8> v, std::span<r8> y, i8 models = 1);

/// CALC_GV for a part of the rows: y(i) for i = rows.first to rows.last, and no other element of y.
void dots_of_rows(row_range rows, std::span<const r8> v, std::span<r8> y, i8 models = 1);

/// How the entries of rows stand: by idx, none below that of the entry before, or in any order.
enum class row_order { ascending, any };

/// Looks at all positions of the rows, a pass over half of their bytes. "idx outside the cube" where one is.
row_order order_of_rows(row_range rows, i8 ncube);

/// Adds rows of one part of G to one slab of a cube, without clearing it: element idx(k) of the slab += val(k) * v(i), for
/// i = rows.first to rows.last in this order and every k whose idx lies in the slab. So a sum over all rows may be formed in
/// pieces, by rows from first to last and by slabs in any order, and has the bits of CALC_GTV where it starts from zeros.
///
/// Asks     order is what order_of_rows gave for these rows, or `any`, which is right for all and slower; ncube is the size
///          of the cube that the slab is part of. v has the elements of all data
/// Errors   those of CALC_GTV but one: positions outside the cube are seen by order_of_rows. "idx do not ascend" where an
///          entry of rows that were told to ascend is met out of place. Not all are met: with the wrong order the sum is
///          wrong, but nothing outside the slab is touched
void add_rows(row_range rows, row_order order, std::span<const r8> v, const slab& to, i8 ncube,
              i8 models = 1);

}  // namespace velko
