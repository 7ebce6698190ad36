/// The active-cell file on small meshes with some surface. What is resolved has to keep the invariants of the
/// cell map.
#include "files/active_cells.h"
#include "fuzz/fuzz_input.h"

namespace {

using namespace velko;
using fuzz::expect;

/// Positive entries count up from 1 in model order, negative ones down from -1, and all cells are counted.
void check_cell_map() {
  i4 active = 0, inactive = 0, inactive_inf = 0;
  for (const i4 cell : cells.cell_map) {
    if (cell == 0) ++inactive;
    if (cell > 0) expect(cell == ++active);
    if (cell < 0) expect(cell == -++inactive_inf);
  }
  expect(active == cells.ncell && inactive == cells.ninactive && inactive_inf == cells.ninactive_inf);
  expect(cells.ntotal == active + inactive + inactive_inf);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  reset_state();
  fuzz::set_mesh(in);
  const fuzz::named_bytes file(in.rest());
  if (fuzz::comes_back([&] { get_active_cells(file.name(), mesh.itop); })) check_cell_map();
  return 0;
}
