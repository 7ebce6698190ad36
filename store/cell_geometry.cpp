#include "store/cell_geometry.h"

#include <algorithm>
#include <limits>

#include "reports/program_stop.h"
#include "store/state.h"

namespace velko {

i4 wrapped_product(i4 a, i4 b, i4 c) {
  return static_cast<i4>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b) *
                         static_cast<std::uint32_t>(c));
}

bool product_fits(i4 a, i4 b, i4 c) {
  constexpr i8 most = std::numeric_limits<i4>::max();
  const i8 ab = i8{std::max(a, 0)} * std::max(b, 0);
  return c <= 0 || ab <= most / c;
}

bool has_no_cells() {
  return mesh.ny < 1 || mesh.nx < 1 || mesh.nz < 1;
}

void check_surface(array2<const i4> itop) {
  if (itop.extent(1) != std::max(mesh.ny, 0) || itop.extent(2) != std::max(mesh.nx, 0))
    stop_program("size(itop) /= ny x nx");
  const i4 deepest = std::max(mesh.nz, 0);
  const auto in_column = [=](i4 above) { return 0 <= above && above <= deepest; };
  if (!std::all_of(itop.begin(), itop.end(), in_column)) stop_program("itop outside 0..nz");
}

namespace {

void check_cube() {
  if (has_no_cells()) return;
  if (store.ncube_z < mesh.nz || store.ncube_x < mesh.nx || store.ncube_y < mesh.ny)
    stop_program("the cube is smaller than the mesh");
}

}  // namespace

void check_cell_geometry(array2<const i4> itop) {
  if (!product_fits(mesh.ny, mesh.nx, mesh.nz)) stop_program("ny x nx x nz beyond 32 bits");
  check_surface(itop);
  if (store.compressed) check_cube();
}

}  // namespace velko
