#include "recover/model_norm.h"

#include <velko/store/state.h>

#include <algorithm>
#include <cmath>

namespace recover {

using namespace velko;

namespace {

constexpr r8 least_weight = 3e-2;

/// body(cell, k, j, i) for every active cell, which counts from 0.
template <class function>
void for_active_cells(function&& body) {
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j)
      for (i4 k = 1; k <= mesh.nz; ++k)
        if (const i4 cell = cells.cell_map(k, j, i); cell > 0)
          body(static_cast<std::size_t>(cell - 1), k, j, i);
}

values volumes_of_cells() {
  values volumes(static_cast<std::size_t>(cells.ncell));
  for_active_cells(
      [&](std::size_t c, i4 k, i4 j, i4 i) { volumes[c] = mesh.dz(k) * mesh.dx(j) * mesh.dy(i); });
  return volumes;
}

r8 elevation_of_ground(i4 i, i4 j) {
  return mesh.ztop - mesh.znode(mesh.itop(i, j) + 1);
}

i4 column_of(const owned_array1<r8>& nodes, r8 x) {
  const auto above = std::upper_bound(nodes.begin(), nodes.end(), x);
  return static_cast<i4>(std::clamp<std::ptrdiff_t>(above - nodes.begin(), 1, nodes.size() - 1));
}

r8 mean_height_of_stations() {
  r8 sum = 0;
  for (i4 n = 1; n <= survey.ndata; ++n)
    sum += std::max(0.0, survey.zobs(n) - elevation_of_ground(column_of(mesh.ynode, survey.yobs(n)),
                                                              column_of(mesh.xnode, survey.xobs(n))));
  return sum / survey.ndata;
}

values weights_by_depth() {
  const r8 z0 = std::max(mean_height_of_stations(), mesh.dz(1) / 2);
  values w2(static_cast<std::size_t>(cells.ncell));
  for_active_cells([&](std::size_t c, i4 k, i4 j, i4 i) {
    const r8 middle = mesh.ztop - (mesh.znode(k) + mesh.znode(k + 1)) / 2;
    w2[c] = std::pow(elevation_of_ground(i, j) - middle + z0, -3.0);
  });
  return w2;
}

/// Beside the survey the data can't tell a body from a trend: a cell there costs as much as the dearest.
void weigh_what_lies_outside(values& w2) {
  const auto extent = [](const owned_array1<r8>& x) { return std::ranges::minmax(x); };
  const auto across = extent(survey.xobs), along = extent(survey.yobs);
  for_active_cells([&](std::size_t c, i4, i4 j, i4 i) {
    if (mesh.xnode(j + 1) < across.min || mesh.xnode(j) > across.max || mesh.ynode(i + 1) < along.min ||
        mesh.ynode(i) > along.max)
      w2[c] = 1;
  });
}

values squared_weights(weighting kind, view squared_columns, view volumes) {
  values w2(volumes.size(), 1.0);
  if (kind == weighting::depth) w2 = weights_by_depth();
  if (kind == weighting::sensitivity)
    for (std::size_t c = 0; c < w2.size(); ++c) w2[c] = std::sqrt(squared_columns[c]) / volumes[c];
  const r8 largest = *std::max_element(w2.begin(), w2.end());
  for (r8& w : w2) w = largest > 0 ? std::max(w / largest, least_weight) : 1.0;
  weigh_what_lies_outside(w2);
  return w2;
}

}  // namespace

model_norm::model_norm(weighting kind, view squared_columns, std::array<r8, 3> lengths)
    : volumes_(volumes_of_cells()) {
  const values w2 = squared_weights(kind, squared_columns, volumes_);
  smallness_ = times(w2, volumes_);
  diagonal_ = smallness_;
  add_bonds(w2, lengths);
}

void model_norm::add_bonds(view w2, std::array<r8, 3> lengths) {
  const auto join = [&](std::size_t c, i4 neighbour, r8 length, r8 face, r8 distance) {
    if (neighbour <= 0 || length == 0) return;
    const auto d = static_cast<std::size_t>(neighbour - 1);
    const r8 weight = length * length * (w2[c] + w2[d]) / 2 * face / distance;
    bonds_.push_back({static_cast<i4>(c), static_cast<i4>(d), weight});
    diagonal_[c] += weight;
    diagonal_[d] += weight;
  };
  for_active_cells([&](std::size_t c, i4 k, i4 j, i4 i) {
    const r8 dz = mesh.dz(k), dx = mesh.dx(j), dy = mesh.dy(i);
    const auto middle = [](r8 width, r8 next) { return (width + next) / 2; };
    if (k < mesh.nz) join(c, cells.cell_map(k + 1, j, i), lengths[2], dx * dy, middle(dz, mesh.dz(k + 1)));
    if (j < mesh.nx) join(c, cells.cell_map(k, j + 1, i), lengths[0], dy * dz, middle(dx, mesh.dx(j + 1)));
    if (i < mesh.ny) join(c, cells.cell_map(k, j, i + 1), lengths[1], dx * dz, middle(dy, mesh.dy(i + 1)));
  });
}

void model_norm::add_product(r8 a, view u, std::span<r8> y) const {
  for (std::size_t c = 0; c < y.size(); ++c) y[c] += a * smallness_[c] * u[c];
  for (const bond& n : bonds_) {
    const auto p = static_cast<std::size_t>(n.a), q = static_cast<std::size_t>(n.b);
    const r8 pull = a * n.weight * (u[p] - u[q]);
    y[p] += pull;
    y[q] -= pull;
  }
}

r8 model_norm::squared(view u) const {
  values Hu(u.size());
  add_product(1, u, Hu);
  return dot(u, Hu);
}

}  // namespace recover
