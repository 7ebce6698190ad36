/// The active-cell file on small meshes with some surface: two readers, one rule. What is resolved has to keep the
/// invariants of the cell map, and a grid comes back from the values of its inactive cells.
#include <algorithm>
#include <numeric>

#include "files/active_cells.h"
#include "fuzz/fuzz_input.h"
#include "tests/support/slow_files.h"

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

/// The value of a cell of the grid is its place in model order.
void check_inactive_values() {
  owned_array3<r8> grid(mesh.nz, mesh.nx, mesh.ny);
  std::iota(grid.begin(), grid.end(), 1.0);
  store_inactive_values(grid, mesh.itop);
  i4 c = 0;
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j)
      for (i4 k = 1; k <= mesh.nz; ++k) {
        const i4 cell = cells.cell_map(k, j, i);
        if (cell == 0) expect(cells.inactive_values(++c) == (k > mesh.itop(i, j) ? grid(k, j, i) : 0));
        if (cell < 0) expect(cells.inactive_inf_values(-cell) == grid(k, j, i));
      }
  expect(cells.inactive_values.size() == c);
}

void compare_readers(const std::string& name, const std::string& text) {
  constexpr i4 kept = 1;
  owned_array3<i4> act(mesh.nz, mesh.nx, mesh.ny);
  std::fill(act.begin(), act.end(), kept);
  auto expected = test::read_array_slowly(text, static_cast<std::size_t>(act.size()), 'i', kept);
  if (expected && std::any_of(expected->begin(), expected->end(), [](r8 a) { return a < -1 || a > 1; }))
    expected.reset();
  expect(fuzz::comes_back([&] { read_active_file(name, act); }) == expected.has_value());
  if (expected) expect(std::equal(act.begin(), act.end(), expected->begin()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t n) {
  fuzz::input in(bytes, n);
  reset_state();
  fuzz::set_mesh(in);
  const std::string text(in.rest());
  const fuzz::named_bytes file(text);
  compare_readers(file.name(), text);
  if (!fuzz::comes_back([&] { get_active_cells(file.name(), mesh.itop); })) return 0;
  check_cell_map();
  check_inactive_values();
  return 0;
}
