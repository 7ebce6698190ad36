#include "builder/row_compression.h"

#include <algorithm>

#include "wavelet/wtn_mod.h"

namespace velko {

std::span<const i4> coefficient_selection::choose(std::span<const r8> coefficients, r8 tolerance) {
  r8 total = 0.0;
  for (const r8 c : coefficients) total += c * c;
  const r8 budget = tolerance * tolerance * total;

  // Most coefficients are so small that even all together, were they all like this, they would not use the budget
  // up. One pass without comparing them to each other settles them.
  const r8 negligible = budget / static_cast<r8>(std::max<std::size_t>(coefficients.size(), 1));
  r8 discarded = 0.0;
  candidates_.clear();
  for (std::size_t p = 0; p < coefficients.size(); ++p) {
    const r8 energy = coefficients[p] * coefficients[p];
    if (energy <= negligible)
      discarded += energy;
    else
      candidates_.push_back({energy, static_cast<i4>(p) + 1});
  }

  // Halving: what stands before `first` is discarded, what stands from `last` on is kept.
  const auto smaller = [](const candidate& a, const candidate& b) {
    return a.energy != b.energy ? a.energy < b.energy : a.idx > b.idx;
  };
  auto first = candidates_.begin(), last = candidates_.end();
  while (first != last) {
    const auto middle = first + (last - first + 1) / 2;
    std::nth_element(first, middle, last, smaller);
    r8 lower_half = 0.0;
    for (auto c = first; c != middle; ++c) lower_half += c->energy;
    if (discarded + lower_half <= budget) {
      discarded += lower_half;
      first = middle;
    } else if (middle - first == 1) {
      break;
    } else {
      last = middle;
    }
  }

  kept_.clear();
  for (auto c = first; c != candidates_.end(); ++c) kept_.push_back(c->idx);
  std::sort(kept_.begin(), kept_.end());
  return kept_;
}

row_compressor::row_compressor(const mesh_state& shared_mesh, const cube_size& cube, r8 tolerance)
    : mesh_(shared_mesh), cube_size_(cube), tolerance_(tolerance), cube_(i8{cube.z} * cube.x * cube.y) {}

compressed_row row_compressor::compress(std::span<const r8> row) {
  lay_on_cube(row);
  WTN(cube_.elements(), {cube_size_.z, cube_size_.x, cube_size_.y}, 1);
  return {selection_.choose(cube_.elements(), tolerance_), cube_.elements()};
}

void row_compressor::lay_on_cube(std::span<const r8> row) {
  std::fill(cube_.begin(), cube_.end(), 0.0);
  const array3<const r8> from(row.data(), mesh_.nz, mesh_.nx, mesh_.ny);
  const array3<r8> to(cube_.data(), cube_size_.z, cube_size_.x, cube_size_.y);
  for (i4 i = 1; i <= mesh_.ny; ++i)
    for (i4 j = 1; j <= mesh_.nx; ++j) std::copy_n(&from(1, j, i), mesh_.nz, &to(1, j, i));
}

}  // namespace velko
