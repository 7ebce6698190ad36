#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include <utility>

#include "benchmarks/topography_peers.h"

namespace velko::peers {

using kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using vertex = CGAL::Triangulation_vertex_base_with_info_2<int, kernel>;
using delaunay = CGAL::Delaunay_triangulation_2<kernel, CGAL::Triangulation_data_structure_2<vertex>>;

void triangulate_with_cgal(const std::vector<double>& x, const std::vector<double>& y, triangles* corners) {
  std::vector<std::pair<kernel::Point_2, int>> points;
  points.reserve(x.size());
  for (std::size_t i = 0; i < x.size(); ++i)
    points.emplace_back(kernel::Point_2(x[i], y[i]), static_cast<int>(i + 1));
  const delaunay made(points.begin(), points.end());
  if (corners == nullptr) return;
  for (const auto& face : made.finite_face_handles())
    corners->push_back({face->vertex(0)->info(), face->vertex(1)->info(), face->vertex(2)->info()});
}

}  // namespace velko::peers
