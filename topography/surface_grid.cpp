#include "topography/surface_grid.h"

#include <algorithm>
#include <cmath>

#include "reports/program_stop.h"
#include "topography/location.h"

namespace velko {

namespace {

// Above every surface: where the search for the lowest sample starts.
constexpr r8 beyond_all_samples = 1e20;

void check_shapes(array2<const r8> gz, array1<const r8> znode, i4 ny, i4 nx, i4 nz, array2<const i4> itop) {
  const i8 rows = std::max(ny, 0), columns = std::max(nx, 0);
  if (itop.extent(1) != rows || itop.extent(2) != columns) stop_program("size(itop) /= ny x nx");
  if (gz.extent(1) != 2 * rows + 1 || gz.extent(2) != 2 * columns + 1)
    stop_program("size(gz) /= 2 ny + 1 x 2 nx + 1");
  if (nz < 0 || znode.size() != i8{nz} + 1) stop_program("size(znode) /= nz + 1");
}

/// The lowest of the nine samples of column (i, j).
r8 lowest_sample(array2<const r8> gz, i8 i, i8 j) {
  r8 c = beyond_all_samples;
  for (i8 l = 2 * j - 1; l <= 2 * j + 1; ++l)
    for (i8 k = 2 * i - 1; k <= 2 * i + 1; ++k) c = std::min(c, gz(k, l));
  return c;
}

/// From the top of the mesh down.
owned_array1<r8> edge_elevations(array1<const r8> znode, r8 ztop) {
  owned_array1<r8> e(uninitialised, znode.size());
  for (i8 k = 1; k <= e.size(); ++k) e(k) = ztop - znode(k);
  return e;
}

}  // namespace

owned_array1<r8> sample_positions(array1<const r8> node, i4 n) {
  owned_array1<r8> g(uninitialised, 2 * i8{n} + 1);
  for (i8 i = 1; i <= n; ++i) {
    g(2 * i - 1) = node(i);
    g(2 * i) = (node(i) + node(i + 1)) * 0.5;
  }
  g(2 * i8{n} + 1) = node(i8{n} + 1);
  return g;
}

owned_array2<r8> sample_surface(const triangulated_surface& surface, array1<const r8> gy,
                                array1<const r8> gx) {
  owned_array2<r8> gz(uninitialised, gy.size(), gx.size());
  i4 start_node = 1, not_looked_at = 0;
  for (i8 j = 1; j <= gx.size(); ++j)
    for (i8 i = 1; i <= gy.size(); ++i)
      surface_value(surface.n, gy(i), gx(j), surface.ty, surface.tx, surface.tz, surface.adj_list,
                    surface.adj_end, start_node, gz(i, j), not_looked_at);
  return gz;
}

void classify_columns(array2<const r8> gz, array1<const r8> znode, i4 ny, i4 nx, i4 nz, r8 ztop,
                      array2<i4> itop) {
  check_shapes(gz, znode, ny, nx, nz, itop);
  const owned_array1<r8> e = edge_elevations(znode, ztop);
  for (i8 j = 1; j <= nx; ++j)
    for (i8 i = 1; i <= ny; ++i) itop(i, j) = std::min(nz, find_bracket(e, lowest_sample(gz, i, j), nz));
}

/// One by one: surfaces lie near the top of their mesh, and so does the bracket.
i4 find_bracket(array1<const r8> a, r8 v, i4 n) {
  if (v >= a(1)) return 0;
  if (a(n + 1) > v) return n + 1;
  for (i4 k = 1; k <= n; ++k)
    if (a(k) >= v && v >= a(k + 1)) return k;
  return n + 1;
}

r8 plane_distance(r8 x1, r8 y1, r8 x2, r8 y2) {
  return std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1));
}

}  // namespace velko
