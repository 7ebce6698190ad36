#include "products/products.h"

#include "arrays/array.h"
#include "products/coefficients.h"
#include "products/full_rows.h"
#include "products/model_mapping.h"
#include "products/sparse_rows.h"
#include "reports/reports.h"
#include "store/cell_geometry.h"
#include "store/state.h"

namespace velko {
namespace {

bool has_columns(std::span<const r8> m) {
  return static_cast<i8>(m.size()) == store.ncol;
}

void compressed_GPROD(std::span<const r8> m, std::span<r8> d) {
  owned_array1<r8> cube;
  allocate_or_report("gprod", [&] { cube = new_cube(); });
  model_to_coefficients(m, cube.elements());
  CALC_GV(cube.elements(), d);
}

void dense_GPROD(std::span<const r8> m, std::span<r8> d) {
  if (has_columns(m)) return CALC_FULL_GV(m, d);
  if (static_cast<i8>(m.size()) != wrapped_product(mesh.nz, mesh.nx, mesh.ny))
    stop_program("problem in gprod");
  owned_array1<r8> mcol(uninitialised, store.ncol);
  GRID_TO_BELOW(m, mcol.elements());
  CALC_FULL_GV(mcol.elements(), d);
}

void compressed_GTPROD(std::span<r8> m, std::span<const r8> d) {
  owned_array1<r8> cube;
  allocate_or_report("gtprod", [&] { cube = new_cube(); });
  CALC_GTV(d, cube.elements());
  coefficients_to_model(cube.elements(), m);
}

void dense_GTPROD(std::span<r8> m, std::span<const r8> d) {
  if (has_columns(m)) return CALC_FULL_GTV(d, m);
  owned_array1<r8> mcol(uninitialised, store.ncol);
  CALC_FULL_GTV(d, mcol.elements());
  BELOW_TO_ACTIVE(mcol.elements(), m);
}

void compressed_GTGPROD(std::span<const r8> x, std::span<r8> y) {
  owned_array1<r8> cube, cubeout;
  allocate_or_report("gtgprod", [&] {
    cube = new_cube();
    cubeout = new_cube();
  });
  model_to_coefficients(x, cube.elements());
  CALC_GTGV_1LOOP(cube.elements(), cubeout.elements());
  coefficients_to_model(cubeout.elements(), y);
}

void dense_GTGPROD(std::span<const r8> x, std::span<r8> y) {
  if (has_columns(x)) return CALC_FULL_GTGV(x, y);
  owned_array1<r8> mcol, mcolout;
  allocate_or_report("gtgprod", [&] {
    mcol = owned_array1<r8>(uninitialised, store.ncol);
    mcolout = owned_array1<r8>(uninitialised, store.ncol);
  });
  ACTIVE_TO_BELOW(x, mcol.elements());
  CALC_FULL_GTGV(mcol.elements(), mcolout.elements());
  BELOW_TO_ACTIVE(mcolout.elements(), y);
}

}  // namespace

void GPROD(std::span<const r8> m, std::span<r8> d) {
  if (store.compressed)
    compressed_GPROD(m, d);
  else
    dense_GPROD(m, d);
}

void GTPROD(std::span<r8> m, std::span<const r8> d) {
  if (store.compressed)
    compressed_GTPROD(m, d);
  else
    dense_GTPROD(m, d);
}

void GTGPROD(std::span<const r8> x, std::span<r8> y) {
  if (store.compressed)
    compressed_GTGPROD(x, y);
  else
    dense_GTGPROD(x, y);
}

}  // namespace velko
