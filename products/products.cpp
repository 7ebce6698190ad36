#include "products/products.h"

#include "arrays/array.h"
#include "products/full_rows.h"
#include "products/model_mapping.h"
#include "products/sparse_rows.h"
#include "store/cell_geometry.h"
#include "store/state.h"
#include "tool/reports.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

constexpr i4 zero_fill = 0;
constexpr i4 forward = 1;

/// The rows are trusted inside the loops; the loader has noted their extremes, so that this costs nothing.
void check_idx() {
  const bool any = store.idx_min <= store.idx_max;
  if (any && (store.idx_min < 1 || store.idx_max > store.ncube)) stop_program("idx outside the cube");
}

void compressed_GPROD(std::span<const r8> m, std::span<r8> d) {
  owned_array1<r8> cube;
  allocate_or_report("gprod", [&] { cube = owned_array1<r8>(uninitialised, store.ncube); });
  MODEL_TO_CUBE(m, cube.elements(), mesh.ny, mesh.nx, mesh.nz, store.ncube_y, store.ncube_x, store.ncube_z,
                zero_fill);
  check_idx();
  WTN(cube.elements(), {store.ncube_z, store.ncube_x, store.ncube_y}, forward);
  CALC_GV(cube.elements(), d);
}

void dense_GPROD(std::span<const r8> m, std::span<r8> d) {
  const i8 n = static_cast<i8>(m.size());
  if (n == store.ncol) {
    CALC_FULL_GV(m, d);
  } else if (n == wrapped_product(mesh.nz, mesh.nx, mesh.ny)) {
    owned_array1<r8> mcol(uninitialised, store.ncol);
    GRID_TO_BELOW(m, mcol.elements());
    CALC_FULL_GV(mcol.elements(), d);
  } else {
    stop_program("problem in gprod");
  }
}

}  // namespace

void GPROD(std::span<const r8> m, std::span<r8> d) {
  if (store.compressed)
    compressed_GPROD(m, d);
  else
    dense_GPROD(m, d);
}

}  // namespace velko
