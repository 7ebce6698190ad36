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

/// Calls action(depth of the centre below the surface of the column) for every cell, in surface order.
template <class body>
void for_depths(const mesh_state& m, const body& action) {
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j)
      for (i4 k = m.itop(i, j) + 1; k <= m.nz; ++k)
        action(0.5 * (m.znode(k) + m.znode(k + 1)) - m.znode(m.itop(i, j) + 1));
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

owned_array1<r8> cell_weights(const mesh_state& m, const survey_state& s, const weighting& w) {
  i8 ncol = 0;
  r8 least = std::numeric_limits<r8>::max();  // depth of a centre: half the height of a topmost cell
  for_depths(m, [&](r8 depth) {
    ++ncol;
    least = std::min(least, depth);
  });
  owned_array1<r8> wtz(uninitialised, ncol);
  const r8 z0 = w.z0.value_or(std::max(least, mean_height(m, s)));
  r8* next = wtz.begin();
  for_depths(m, [&](r8 depth) {
    // A float: more digits serve nothing, and those of pow are not the same on every machine.
    *next++ = w.kind == weighting::none
                  ? 1.0
                  : static_cast<r4>(std::pow((depth + z0) / (least + z0), -0.5 * w.beta));
  });
  return wtz;
}

}  // namespace velko
