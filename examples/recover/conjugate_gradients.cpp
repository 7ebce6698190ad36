#include "recover/conjugate_gradients.h"

#include <cmath>
#include <numeric>
#include <vector>

namespace recover {

namespace {

using velko::i4;
using velko::r8;

/// y = factor y + addend_factor x
void scale_and_add(std::span<r8> y, r8 factor, r8 addend_factor, std::span<const r8> x) {
  for (std::size_t c = 0; c < y.size(); ++c) y[c] = factor * y[c] + addend_factor * x[c];
}

}  // namespace

r8 dot(std::span<const r8> a, std::span<const r8> b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

i4 conjugate_gradients(const linear_map& A, r8 least_eigenvalue, std::span<const r8> b, std::span<r8> x,
                       r8 tolerance, i4 max_steps) {
  std::vector<r8> residual(b.begin(), b.end()), A_direction(b.size());
  A(x, A_direction);
  scale_and_add(residual, 1, -1, A_direction);
  std::vector<r8> direction = residual;
  r8 squared = dot(residual, residual);
  const auto is_solved = [&] { return squared <= std::pow(tolerance * least_eigenvalue, 2) * dot(x, x); };

  i4 steps = 0;
  for (; steps < max_steps && !is_solved(); ++steps) {
    A(direction, A_direction);
    const r8 length = squared / dot(direction, A_direction);
    scale_and_add(x, 1, length, direction);
    scale_and_add(residual, 1, -length, A_direction);
    const r8 before = squared;
    squared = dot(residual, residual);
    scale_and_add(direction, squared / before, 1, residual);
  }
  return steps;
}

}  // namespace recover
