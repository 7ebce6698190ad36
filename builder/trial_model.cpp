// Letters: i along y, j along x, k down a column.
#include "builder/trial_model.h"

#include <random>
#include <vector>

namespace velko {

namespace {

constexpr i8 blocks_along_axis = 8;

std::size_t block_of(i4 n, i4 count) {
  return static_cast<std::size_t>((n - 1) * blocks_along_axis / count);
}

/// One sign for each block. The generator's sequence is fixed by the standard.
std::vector<r8> signs() {
  std::mt19937 random(1);
  std::vector<r8> sign(blocks_along_axis * blocks_along_axis * blocks_along_axis);
  for (r8& s : sign) s = random() % 2 == 0 ? 1.0 : -1.0;
  return sign;
}

}  // namespace

owned_array1<r8> trial_model(const mesh_state& m, std::span<const r8> wtz) {
  const std::vector<r8> sign = signs();
  owned_array1<r8> model(uninitialised, static_cast<i8>(wtz.size()));
  std::size_t cell = 0;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j)
      for (i4 k = m.itop(i, j) + 1; k <= m.nz; ++k, ++cell) {
        const std::size_t block =
            (block_of(i, m.ny) * blocks_along_axis + block_of(j, m.nx)) * blocks_along_axis +
            block_of(k, m.nz);
        model.data()[cell] = k > m.nz / 2 ? sign[block] * wtz[cell] : 0.0;
      }
  return model;
}

}  // namespace velko
