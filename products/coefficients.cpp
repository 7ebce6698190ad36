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

/// step(i) for i = 0 to count - 1, on all threads. Memory that a thread is refused for its work is reported by this one.
template <class body>
void on_all_threads(i8 count, body&& step) {
  std::atomic<bool> refused = false;
#pragma omp parallel for schedule(static) num_threads(team_size())
  for (i8 i = 0; i < count; ++i) try {
      step(i);
    } catch (const std::bad_alloc&) {
      refused = true;
    }
  if (refused) throw std::bad_alloc();
}

/// WTN of cubes that lie interleaved: one more dimension, the fastest, which is not transformed. As in WTN a plane goes through
/// its two dimensions while it is in cache; what a plane is made of, or into, goes with it.
struct interleaved_transform {
  std::span<r8> cubes;
  i8 width;
  i4 isign;

  void plane(i8 i) const {
    const auto [nz, nx, ny] = cube_shape();
    WTN_along(cubes, nz, width, isign, i * width * nx, width * nx);
    WTN_along(cubes, nx, width * nz, isign, i * width * nz, width * nz);
  }
  /// The lines of the third dimension, behind all planes.
  void across_planes() const {
    constexpr i8 at_once = 512;
    const i8 lines = size_of_plane();
    on_all_threads((lines + at_once - 1) / at_once, [&](i8 piece) {
      const i8 first = piece * at_once;
      WTN_along(cubes, store.ncube_y, lines, isign, first, std::min(at_once, lines - first));
    });
  }
  i8 size_of_plane() const { return width * store.ncube_z * store.ncube_x; }
  r8* start_of_plane(i8 i) const { return cubes.data() + i * size_of_plane(); }
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
  const interleaved_transform transform{cubes, width, forward};
  on_all_threads(store.ncube_y, [&](i8 i) {
    MODELS_TO_PLANE(m, transform.start_of_plane(i), width, i + 1);
    transform.plane(i);
  });
  transform.across_planes();
}

void coefficients_to_models(i8 width, std::span<r8> cubes, array2<r8> m) {
  if (m.extent(1) < cells.ncell) stop_program("size(m) < ncell");
  const interleaved_transform transform{cubes, width, inverse};
  on_all_threads(store.ncube_y, [&](i8 i) { transform.plane(i); });
  transform.across_planes();
  on_all_threads(mesh.ny, [&](i8 i) { PLANE_TO_MODELS(m, transform.start_of_plane(i), width, i + 1); });
}

}  // namespace velko
