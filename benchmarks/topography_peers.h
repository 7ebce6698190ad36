/// The peers of the triangulation: each triangulates the points and gives the corners of its triangles, counted from 1.
#pragma once

#include <array>
#include <vector>

namespace velko::peers {

using triangles = std::vector<std::array<int, 3>>;

/// Called with a place for the triangles, a peer lays them down there; without one, it only makes its own structure.
void triangulate_with_cgal(const std::vector<double>& x, const std::vector<double>& y, triangles* corners);
void triangulate_with_qhull(const std::vector<double>& x, const std::vector<double>& y, triangles* corners);

}  // namespace velko::peers
