#include "products/sparse_rows.h"

#include <cassert>

#include "products/row_kernels.h"
#include "store/state.h"

namespace velko {

void CALC_GV(std::span<const r8> v, std::span<r8> y) {
  const auto sparse_row_dot = best_row_kernels().sparse_row_dot;
  const i4 ndata = survey.ndata;
  assert(ndata <= store.Gs.size() && ndata <= static_cast<i8>(y.size()));
#pragma omp parallel for schedule(static)
  for (i4 i = 1; i <= ndata; ++i) {
    const sparse_row& row = store.Gs(i);
    y[static_cast<std::size_t>(i - 1)] =
        sparse_row_dot(row.val.data(), row.idx.data(), row.idx.size(), v.data());
  }
}

}  // namespace velko
