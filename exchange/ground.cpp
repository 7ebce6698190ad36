#include "exchange/ground.h"

#include <algorithm>
#include <cstddef>

#include "exchange/places.h"
#include "store/problem.h"
#include "store/state.h"
#include "topography/location.h"
#include "topography/topography_file.h"

namespace velko {

namespace {

/// Three cells, the middle one over the interval: with those beside it the corners of the mesh lie beyond the points, as
/// those of a mesh with padding do.
owned_array1<r8> edges_around(r8 low, r8 high) {
  const r8 beside = std::max(high - low, 1.0) / 4;
  owned_array1<r8> edges(4);
  edges(1) = low - beside;
  edges(2) = low;
  edges(3) = high;
  edges(4) = high + beside;
  return edges;
}

void fill_mesh_below(std::span<const ground_point> places) {
  bounding_box box;
  for (const ground_point& p : places) box.include(p.x, p.y);
  mesh.nx = mesh.ny = 3;
  mesh.xnode = edges_around(box.min_x, box.max_x);
  mesh.ynode = edges_around(box.min_y, box.max_y);
}

}  // namespace

std::vector<ground_point> ground_below(std::span<const ground_point> stations, r8 clearance) {
  std::vector<ground_point> ground(stations.begin(), stations.end());
  for (ground_point& p : ground) p.z -= clearance;
  return ground;
}

std::vector<ground_point> average_squares(std::span<const ground_point> points, r8 side) {
  place_numbers<2> places(side > 0 ? side : millimetre);
  std::vector<ground_point> averaged;
  std::vector<r8> count;
  for (const ground_point& p : points) {
    const std::size_t place = places.of({p.x, p.y});
    if (place == averaged.size()) {
      averaged.push_back({});
      count.push_back(0);
    }
    ground_point& sum = averaged[place];
    sum = {sum.x + p.x, sum.y + p.y, sum.z + p.z};
    ++count[place];
  }
  for (std::size_t n = 0; n < averaged.size(); ++n)
    averaged[n] = {averaged[n].x / count[n], averaged[n].y / count[n], averaged[n].z / count[n]};
  return averaged;
}

std::vector<r8> elevations_at(const std::string& topography_file, std::span<const ground_point> places) {
  if (places.empty()) return {};
  problem of_its_own;
  const problem_scope scope(of_its_own);
  fill_mesh_below(places);
  const triangulated_surface surface = read_surface(topography_file);
  std::vector<r8> elevations(places.size());
  i4 start_node = 1, not_looked_at = 0;
  for (std::size_t n = 0; n < places.size(); ++n)
    surface_value(surface.n, places[n].y, places[n].x, surface.ty, surface.tx, surface.tz, surface.adj_list,
                  surface.adj_end, start_node, elevations[n], not_looked_at);
  return elevations;
}

}  // namespace velko
