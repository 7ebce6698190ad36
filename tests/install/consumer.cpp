#include <velko/arrays/floating_point_mode.h>
#include <velko/reports/program_stop.h>
#include <velko/store/state.h>
#include <velko/wavelet/wtn_mod.h>

#include <array>
#include <cmath>
#include <cstdio>

#include "store/state.h"

/// A constant cube has all its energy in the smooth corner of its transform.
int main() {
  velko::set_flush_to_zero();
  const velko::stop_or_done end = velko::run_until_stop([] {
    const std::array<velko::r8, 2> haar{std::sqrt(0.5), std::sqrt(0.5)};
    velko::SET_WTN_FILTER(haar, 2);
    constexpr int edge = consumer::cube_edge;
    velko::owned_array3<velko::r8> cube(edge, edge, edge);
    for (velko::r8& value : cube) value = 1.0;
    velko::WTN(cube.elements(), {edge, edge, edge}, 1);
    velko::r8 corner = 0, all = 0;
    for (int l = 1; l <= edge; ++l)
      for (int j = 1; j <= edge; ++j)
        for (int i = 1; i <= edge; ++i) {
          const velko::r8 energy = cube(i, j, l) * cube(i, j, l);
          all += energy;
          if (i <= 2 && j <= 2 && l <= 2) corner += energy;
        }
    std::printf("energy %.12g, in the smooth corner %.12g\n", all, corner);
    if (std::abs(all - 512) > 1e-9 || std::abs(corner - 512) > 1e-9) velko::stop_program("energy lost");
  });
  velko::write_end(end);
  return end == velko::stop_or_done{} ? 0 : 1;
}
