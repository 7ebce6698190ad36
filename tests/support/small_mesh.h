/// Meshes for tests, from their edges.
#pragma once

#include <algorithm>
#include <vector>

#include "store/state.h"

namespace velko::test {

using numbers = std::vector<r8>;

inline numbers widths_of(const numbers& nodes) {
  numbers widths;
  for (std::size_t n = 1; n < nodes.size(); ++n) widths.push_back(nodes[n] - nodes[n - 1]);
  return widths;
}

/// Edges along x and y, and elevations from the top down. A flat surface.
inline mesh_state mesh_with(const numbers& xs, const numbers& ys, const numbers& elevations) {
  mesh_state m;
  numbers depths;
  for (const r8 z : elevations) depths.push_back(elevations.front() - z);
  m.nx = static_cast<i4>(xs.size()) - 1;
  m.ny = static_cast<i4>(ys.size()) - 1;
  m.nz = static_cast<i4>(elevations.size()) - 1;
  m.xnode = owned_array1<r8>(xs);
  m.ynode = owned_array1<r8>(ys);
  m.znode = owned_array1<r8>(depths);
  m.dx = owned_array1<r8>(widths_of(xs));
  m.dy = owned_array1<r8>(widths_of(ys));
  m.dz = owned_array1<r8>(widths_of(depths));
  m.ztop = elevations.front();
  m.itop = owned_array2<i4>(m.ny, m.nx);
  return m;
}

}  // namespace velko::test
