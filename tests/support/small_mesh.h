/// Meshes for tests, from their edges.
#pragma once

#include <algorithm>
#include <vector>

#include "store/state.h"

namespace velko::test {

using numbers = std::vector<r8>;

inline owned_array1<r8> array_of(const numbers& values) {
  owned_array1<r8> a(static_cast<i8>(values.size()));
  std::copy(values.begin(), values.end(), a.begin());
  return a;
}

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
  m.xnode = array_of(xs);
  m.ynode = array_of(ys);
  m.znode = array_of(depths);
  m.dx = array_of(widths_of(xs));
  m.dy = array_of(widths_of(ys));
  m.dz = array_of(widths_of(depths));
  m.ztop = elevations.front();
  m.itop = owned_array2<i4>(m.ny, m.nx);
  return m;
}

}  // namespace velko::test
