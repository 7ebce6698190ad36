#include "products/coefficients.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "products/columns.h"
#include "products/model_mapping.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

constexpr i4 zero_fill = 0;
constexpr i4 forward = 1, inverse = -1;

/// step(i) for i = 1 to count, on all threads. Memory that a thread is refused for its work is reported by this one.
template <class body>
void on_all_threads(i8 count, const body& step) {
  std::atomic<bool> refused = false;
#pragma omp parallel for schedule(static) num_threads(team_size())
  for (i8 i = 1; i <= count; ++i) {
    try {
      step(i);
    } catch (const std::bad_alloc&) {
      refused = true;
    }
  }
  if (refused) throw std::bad_alloc();
}

/// Cubes that lie interleaved: one cube with another dimension, the fastest, which is not transformed. As in WTN a plane goes
/// through its two dimensions while it is in cache.
struct interleaved_cubes {
  std::span<r8> elements;
  i8 width;

  i8 plane_size() const { return width * store.ncube_z * store.ncube_x; }
  r8* row(i8 i, i8 j) const {
    return elements.data() + (i - 1) * plane_size() + (j - 1) * width * store.ncube_z;
  }

  void transform_plane(i8 i, i4 isign) const {
    const i8 nz = store.ncube_z, nx = store.ncube_x;
    WTN_along(elements, store.ncube_z, width, isign, (i - 1) * width * nx, width * nx);
    WTN_along(elements, store.ncube_x, width * nz, isign, (i - 1) * width * nz, width * nz);
  }
  void transform_across_planes(i4 isign) const {
    constexpr i8 at_once = 512;
    on_all_threads((plane_size() + at_once - 1) / at_once, [&](i8 piece) {
      const i8 first = (piece - 1) * at_once, lines = std::min(at_once, plane_size() - first);
      WTN_along(elements, store.ncube_y, plane_size(), isign, first, lines);
    });
  }
};

}  // namespace

std::array<i4, 3> cube_shape() {
  return {store.ncube_z, store.ncube_x, store.ncube_y};
}

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

void models_to_coefficients(array2<const r8> m, i8 width, std::span<r8> cubes) {
  check_model(column_of(m, 1));
  const interleaved_cubes all{cubes, width};
  on_all_threads(store.ncube_y, [&](i8 i) {
    for (i8 j = 1; j <= store.ncube_x; ++j) MODELS_TO_ROW(m, all.row(i, j), width, i, j);
    all.transform_plane(i, forward);
  });
  all.transform_across_planes(forward);
}

void coefficients_to_models(i8 width, std::span<r8> cubes, array2<r8> m) {
  if (m.extent(1) < cells.ncell) stop_program("size(m) < ncell");
  const interleaved_cubes all{cubes, width};
  on_all_threads(store.ncube_y, [&](i8 i) { all.transform_plane(i, inverse); });
  all.transform_across_planes(inverse);
  on_all_threads(mesh.ny, [&](i8 i) {
    for (i8 j = 1; j <= mesh.nx; ++j) ROW_TO_MODELS(m, all.row(i, j), width, i, j);
  });
}

}  // namespace velko
