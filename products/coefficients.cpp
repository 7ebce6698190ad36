#include "products/coefficients.h"

#include <array>

#include "products/model_mapping.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

constexpr i4 zero_fill = 0;
constexpr i4 forward = 1, inverse = -1;

std::array<i4, 3> cube_shape() {
  return {store.ncube_z, store.ncube_x, store.ncube_y};
}

}  // namespace

owned_array1<r8> new_cube() {
  return owned_array1<r8>(uninitialised, store.ncube);
}

void model_to_coefficients(std::span<const r8> m, std::span<r8> cube) {
  MODEL_TO_CUBE(m, cube, mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x, store.ncube_z, zero_fill);
  WTN(cube, cube_shape(), forward);
}

void coefficients_to_model(std::span<r8> cube, std::span<r8> m) {
  WTN(cube, cube_shape(), inverse);
  if (static_cast<i8>(m.size()) < cells.ncell) stop_program("size(m) < ncell");
  CUBE_TO_MODEL(m, cube, mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x, store.ncube_z);
}

}  // namespace velko
