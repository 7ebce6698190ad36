#include <libqhull_r/qhull_ra.h>

#include <cstdio>

#include "benchmarks/topography_peers.h"

namespace velko::peers {
namespace {

/// Of the hull of the lifted points, the facets that look down are the triangles.
void lay_down(qhT* qh, triangles& corners) {
  facetT* facet = nullptr;
  FORALLfacets {
    if (facet->upperdelaunay) continue;
    std::array<int, 3> triangle{};
    std::size_t corner = 0;
    vertexT *vertex = nullptr, **vertexp = nullptr;
    FOREACHvertex_(facet->vertices) triangle.at(corner++) = qh_pointid(qh, vertex->point) + 1;
    corners.push_back(triangle);
  }
}

}  // namespace

void triangulate_with_qhull(const std::vector<double>& x, const std::vector<double>& y, triangles* corners) {
  std::vector<double> points;
  points.reserve(2 * x.size());
  for (std::size_t i = 0; i < x.size(); ++i) points.insert(points.end(), {x[i], y[i]});
  char options[] = "qhull d Qt Qbb";
  qhT made{}, *const qh = &made;
  qh_zero(qh, stderr);
  const int failed =
      qh_new_qhull(qh, 2, static_cast<int>(x.size()), points.data(), 0, options, nullptr, stderr);
  if (failed == 0 && corners != nullptr) lay_down(qh, *corners);
  qh_freeqhull(qh, qh_ALL);
  int long_left = 0, pieces_left = 0;
  qh_memfreeshort(qh, &long_left, &pieces_left);
}

}  // namespace velko::peers
