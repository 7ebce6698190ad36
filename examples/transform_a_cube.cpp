/// Transforms a cube to wavelet coefficients and back: how little of a smooth model is left outside a few of them.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "arrays/array.h"
#include "reports/program_stop.h"
#include "wavelet/wtn_mod.h"

namespace {

using namespace velko;

constexpr i4 edge = 32;

/// A smooth bump in the middle of the cube.
owned_array3<r8> bump() {
  owned_array3<r8> cube(edge, edge, edge);
  const auto square = [](i4 i) { return std::pow((i - 16.5) / 6.0, 2); };
  for (i4 l = 1; l <= edge; ++l)
    for (i4 j = 1; j <= edge; ++j)
      for (i4 i = 1; i <= edge; ++i) cube(i, j, l) = std::exp(-square(i) - square(j) - square(l));
  return cube;
}

void show_energy_of_the_largest(std::vector<r8> coefficients) {
  std::sort(coefficients.begin(), coefficients.end(), [](r8 a, r8 b) { return std::abs(a) > std::abs(b); });
  r8 all = 0, largest = 0;
  for (r8 c : coefficients) all += c * c;
  for (std::size_t n = 0; n < coefficients.size() / 100; ++n) largest += coefficients[n] * coefficients[n];
  std::printf("energy in the largest 1 %% of %zu coefficients: %.6f %%\n", coefficients.size(),
              100 * largest / all);
}

void transform_and_return() {
  const r8 s = std::sqrt(3.0), scale = 4 * std::sqrt(2.0);
  const std::array<r8, 4> daubechies4{(1 + s) / scale, (3 + s) / scale, (3 - s) / scale, (1 - s) / scale};
  SET_WTN_FILTER(daubechies4, 4);

  const owned_array3<r8> model = bump();
  owned_array3<r8> cube = bump();
  WTN(cube.elements(), {edge, edge, edge}, +1);
  show_energy_of_the_largest({cube.begin(), cube.end()});

  WTN(cube.elements(), {edge, edge, edge}, -1);
  r8 furthest = 0;
  for (i8 k = 0; k < cube.size(); ++k)
    furthest = std::max(furthest, std::abs(cube.data()[k] - model.data()[k]));
  std::printf("furthest from the model after the way back: %.1e\n", furthest);
  if (furthest > 1e-13) stop_program("the transform did not come back");
}

}  // namespace

int main() {
  const stop_or_done end = run_until_stop(transform_and_return);
  write_end(end);
  return end == stop_or_done{} ? 0 : 1;
}
