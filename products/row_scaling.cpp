#include "products/row_scaling.h"

#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/state.h"
#include "threads/team.h"

namespace velko {
namespace {

void divide(r4* row, i8 size, r8 by) {
  for (i8 k = 0; k < size; ++k) row[k] = static_cast<r4>(r8{row[k]} / by);
}

void divide_row(i8 i, r8 by) {
  if (store.compressed) return divide(store.Gs(i).val.data(), store.Gs(i).val.size(), by);
  const i8 ncol = store.Gfull.extent(1);
  divide(store.Gfull.data() + (i - 1) * ncol, ncol, by);
}

}  // namespace

void scale_rows(std::span<const r8> derr) {
  prepare_rows();
  const i8 rows = store.compressed ? store.Gs.size() : store.Gfull.extent(2);
  if (static_cast<i8>(derr.size()) != rows) stop_program("size(derr) /= # of rows");
#pragma omp parallel for schedule(static) num_threads(team_size())
  for (i8 i = 1; i <= rows; ++i) divide_row(i, derr[static_cast<std::size_t>(i - 1)]);
  check_rows_in_place();
}

}  // namespace velko
