// Letters: i along y, j along x, k down a column.
#include "recover/model_weights.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "files/model_file.h"
#include "products/model_mapping.h"
#include "recover/conjugate_gradients.h"
#include "store/state.h"
#include "tool/program_stop.h"

namespace recover {

using namespace velko;

namespace {

/// Mean elevation of the data above the top of the mesh.
r8 mean_height() {
  const auto z = survey.zobs.elements();
  return std::accumulate(z.begin(), z.end(), 0.0) / static_cast<r8>(z.size()) - mesh.ztop;
}

/// A cell at the height of the data or above it counts as one that lies half its own height below them.
r8 depth_below_data(r8 height, i4 k) {
  return std::max(height + (mesh.znode(k) + mesh.znode(k + 1)) / 2, mesh.dz(k) / 2);
}

void divide_by_root_mean_square(std::span<r8> weights) {
  const r8 root = std::sqrt(dot(weights, weights) / static_cast<r8>(weights.size()));
  for (r8& w : weights) w /= root;
}

}  // namespace

bool file_has_weights() {
  return std::any_of(store.wtz.begin(), store.wtz.end(), [](r8 weight) { return weight != 1; });
}

std::vector<r8> norm_weights(r8 depth_exponent) {
  const r8 height = mean_height();
  owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j)
      for (i4 k = 1; k <= mesh.nz; ++k)
        grid(k, j, i) = std::sqrt(mesh.dy(i) * mesh.dx(j) * mesh.dz(k)) *
                        std::pow(depth_below_data(height, k), -depth_exponent / 2);
  std::vector<r8> weights(static_cast<std::size_t>(cells.ncell));
  GRID_TO_AMODEL(grid.elements(), weights);
  divide_by_root_mean_square(weights);
  return weights;
}

void remove_file_weights(array3<r8> model) {
  owned_array3<r8> weights(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  read_cube("VALUE 1", "weights", weights, store.wtz.elements(),
            mesh.itop);  // 1 above the surface, wtz below it
  for (i8 c = 0; c < model.size(); ++c) {
    if (weights.data()[c] == 0) stop_program("recover: a weight of the sensitivity file is 0");
    model.data()[c] /= weights.data()[c];
  }
}

}  // namespace recover
