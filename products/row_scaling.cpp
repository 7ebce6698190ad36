#include "products/row_scaling.h"

#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/state.h"
#include "threads/team.h"

namespace velko {
namespace {

void divide_row(i8 i, r8 by) {
  for (r4& g : store.compressed ? store.Gs(i).val : store.Gfull.row(i)) g = static_cast<r4>(r8{g} / by);
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
