#include "products/sparse_rows.h"

#include <atomic>
#include <cassert>
#include <iterator>

#include "products/private_sums.h"
#include "products/row_kernels.h"
#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/state.h"

namespace velko {
namespace {

/// The rows of the loop, from 1.
i4 rows_of_loop() {
  if (survey.ndata > store.Gs.size()) stop_program("ndata > # of rows");
  return survey.ndata;
}

i4 rows_for(std::span<const r8> data) {
  if (static_cast<i8>(data.size()) < survey.ndata) stop_program("size(data) < ndata");
  return rows_of_loop();
}

/// The kernels put positions outside the cube into it, so it needs an element.
void check_any_cube(std::span<const r8> cube, i4 ndata) {
  if (!cube.empty()) return;
  for (i4 i = 1; i <= ndata; ++i)
    if (store.Gs(i).idx.size() > 0) stop_program("idx outside the cube");
}

/// Rows of a file that is no longer what was loaded may hold any position.
void check_rows(bool outside) {
  check_rows_in_place();
  if (outside) stop_program("idx outside the cube");
}

}  // namespace

void CALC_GV(std::span<const r8> v, std::span<r8> y) {
  const row_kernels& kernels = best_row_kernels();
  std::atomic<bool> outside = false;
  const i4 ndata = rows_for(y);
  check_any_cube(v, ndata);
#pragma omp parallel for schedule(static)
  for (i4 i = 1; i <= ndata; ++i) {
    const sparse_row& row = store.Gs(i);
    y[static_cast<std::size_t>(i - 1)] = kernels.sparse_row_dot(
        row.val.data(), row.idx.data(), row.idx.size(), v.data(), std::ssize(v), outside);
  }
  check_rows(outside);
}

void CALC_GTV(std::span<const r8> v, std::span<r8> y) {
  const row_kernels& kernels = best_row_kernels();
  std::atomic<bool> outside = false;
  const i4 ndata = rows_for(v);
  check_any_cube(y, ndata);
  sum_blocks(y, ndata, [&](i8 i, r8* sum) {
    const sparse_row& row = store.Gs(i + 1);
    kernels.add_sparse_row(row.val.data(), row.idx.data(), row.idx.size(), v[static_cast<std::size_t>(i)],
                           sum, std::ssize(y), outside);
  });
  check_rows(outside);
}

void CALC_GTGV_1LOOP(std::span<const r8> v, std::span<r8> y) {
  assert(v.size() == y.size());
  const row_kernels& kernels = best_row_kernels();
  std::atomic<bool> outside = false;
  const i4 ndata = rows_of_loop();
  check_any_cube(y, ndata);
  sum_blocks(y, ndata, [&](i8 i, r8* sum) {
    const sparse_row& row = store.Gs(i + 1);
    const i8 nnz = row.idx.size();
    const r8 s =
        kernels.sparse_row_dot(row.val.data(), row.idx.data(), nnz, v.data(), std::ssize(v), outside);
    kernels.add_sparse_row(row.val.data(), row.idx.data(), nnz, s, sum, std::ssize(y), outside);
  });
  check_rows(outside);
}

}  // namespace velko
