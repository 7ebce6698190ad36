/// The cube in which the wavelet transform runs: the smallest powers of two that hold the mesh.
#pragma once

#include <bit>
#include <cstdint>

#include "arrays/numbers.h"

namespace velko {

struct cube_size {
  i4 y, x, z;
};

/// Of counts from 1 to 2^30, for which the power of two is an i4 too (check_mesh).
inline cube_size cube_around(i4 ny, i4 nx, i4 nz) {
  const auto power_of_two = [](i4 n) {
    return static_cast<i4>(std::bit_ceil(static_cast<std::uint32_t>(n)));
  };
  return {power_of_two(ny), power_of_two(nx), power_of_two(nz)};
}

}  // namespace velko
