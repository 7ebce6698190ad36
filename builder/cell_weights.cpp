// Letters: i along y, j along x, k down a column.
#include "builder/cell_weights.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velko {

namespace {

/// The interval of ascending nodes that holds a value, or the nearest one; from 1.
i4 nearest_interval(std::span<const r8> nodes, r8 value) {
  const auto above = std::upper_bound(nodes.begin(), nodes.end(), value) - nodes.begin();
  return static_cast<i4>(std::clamp<std::ptrdiff_t>(above, 1, std::ssize(nodes) - 1));
}

r8 surface_elevation(const mesh_state& m, i4 i, i4 j) {
  return m.ztop - m.znode(m.itop(i, j) + 1);
}

/// Calls action(depth of the centre below the surface of the column, volume) for every cell, in surface order.
template <class body>
void for_cells(const mesh_state& m, const body& action) {
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j)
      for (i4 k = m.itop(i, j) + 1; k <= m.nz; ++k)
        action(0.5 * (m.znode(k) + m.znode(k + 1)) - m.znode(m.itop(i, j) + 1), m.dx(j) * m.dy(i) * m.dz(k));
}

}  // namespace

r8 mean_height(const mesh_state& m, const survey_state& s) {
  r8 sum = 0.0;
  for (i4 n = 1; n <= s.ndata; ++n) {
    const i4 i = nearest_interval(m.ynode.elements(), s.yobs(n));
    const i4 j = nearest_interval(m.xnode.elements(), s.xobs(n));
    sum += std::max(s.zobs(n) - surface_elevation(m, i, j), 0.0);
  }
  return sum / s.ndata;
}

bool is_padded(const mesh_state& m) {
  constexpr r8 rounding = 1e-3;
  const auto differ = [](std::span<const r8> widths) {
    const auto [least, largest] = std::ranges::minmax_element(widths);
    return *largest > *least * (1.0 + rounding);
  };
  return differ(m.dx.elements()) || differ(m.dy.elements()) || differ(m.dz.elements());
}

owned_array1<r8> cell_weights(const mesh_state& m, const survey_state& s, const weighting& w) {
  i8 ncol = 0;
  r8 shallowest = std::numeric_limits<r8>::max();  // centre: half the height of a topmost cell
  r8 smallest = std::numeric_limits<r8>::max();
  for_cells(m, [&](r8 depth, r8 volume) {
    ++ncol;
    shallowest = std::min(shallowest, depth);
    smallest = std::min(smallest, volume);
  });
  owned_array1<r8> wtz(uninitialised, ncol);
  const r8 z0 = w.z0.value_or(std::max(shallowest, mean_height(m, s)));
  r8* next = wtz.begin();
  for_cells(m, [&](r8 depth, r8 volume) {
    r8 weight = 1.0;
    if (w.by_depth()) weight *= std::pow((depth + z0) / (shallowest + z0), -0.5 * w.beta);
    if (w.by_volume()) weight *= std::sqrt(volume / smallest);
    // A float: more digits serve nothing, and those of pow are not the same on every machine.
    *next++ = static_cast<r4>(weight);
  });
  return wtz;
}

}  // namespace velko
