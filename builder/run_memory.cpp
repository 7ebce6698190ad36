#include "builder/run_memory.h"

#include "store/cell_geometry.h"
#include "store/state.h"
#include "wavelet/transform_memory.h"

namespace velko {

namespace {

template <class T>
r8 bytes(r8 count) {
  return count * sizeof(T);
}

r8 product(i4 a, i4 b) {
  return static_cast<r8>(a) * b;
}

/// Cell map, weights and diagonal, the model.
r8 bytes_of_cells(const sensitivity_contents& c) {
  return bytes<i4>(product(c.ny, c.nx) * c.nz) + bytes<i4>(product(c.ny, c.nx)) + 3 * bytes<r8>(c.ncol);
}

/// Positions, directions of their own at most, and the data.
r8 bytes_of_data(const sensitivity_contents& c) {
  return 6 * bytes<r8>(c.ndata_mtx);
}

/// No run transforms a cube beyond 32 bits.
r8 bytes_of_work(const cube_size& cube) {
  const bool runs = product_fits(cube.y, cube.x, cube.z);
  return runs ? static_cast<r8>(bytes_of_transform({cube.z, cube.x, cube.y})) : 0;
}

r8 bytes_of_compressed_product(const sensitivity_contents& c) {
  const r8 filters = 3 * bytes<r8>(c.nfilter), rows = bytes<sparse_row>(c.ndata_mtx);
  return filters + rows + bytes<r8>(product(c.cube.y, c.cube.x) * c.cube.z) + bytes_of_work(c.cube);
}

}  // namespace

r8 bytes_of_a_run(const sensitivity_contents& c) {
  return bytes_of_cells(c) + bytes_of_data(c) + (c.compressed() ? bytes_of_compressed_product(c) : 0);
}

}  // namespace velko
