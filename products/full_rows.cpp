#include "products/full_rows.h"

#include <algorithm>
#include <cassert>

#include "products/row_kernels.h"
#include "store/state.h"

namespace velko {

void CALC_FULL_GV(std::span<const r8> v, std::span<r8> y) {
  const row_kernels& kernels = best_row_kernels();
  const i8 n = static_cast<i8>(v.size()), rows = store.Gfull.extent(2);
  assert(n == store.Gfull.extent(1) && rows <= static_cast<i8>(y.size()));
  const r4* G = store.Gfull.data();
  // Rows go in groups that share one pass over the model; the last group may be smaller.
  const i8 groups = (rows + dense_rows_at_once - 1) / dense_rows_at_once;
#pragma omp parallel for schedule(static)
  for (i8 group = 0; group < groups; ++group) {
    const i8 first = group * dense_rows_at_once, end = std::min(first + dense_rows_at_once, rows);
    if (end - first == dense_rows_at_once)
      kernels.row_dots(G + first * n, v.data(), n, y.data() + first);
    else
      for (i8 i = first; i < end; ++i)
        y[static_cast<std::size_t>(i)] = kernels.row_dot(G + i * n, v.data(), n);
  }
}

}  // namespace velko
