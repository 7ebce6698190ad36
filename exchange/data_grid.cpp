#include "exchange/data_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "exchange/places.h"
#include "reports/program_stop.h"
#include "topography/location.h"
#include "topography/node_sort.h"
#include "topography/topography_file.h"
#include "topography/triangulation.h"

namespace velko {

namespace {

constexpr r8 hole = std::numeric_limits<r8>::quiet_NaN();

[[noreturn]] void refuse_scattered() {
  stop_program(
      "velkmtx: the stations do not lie on a grid along x and y; a spacing interpolates them on one");
}

/// Nodes at equal distances that hold all of some coordinates.
struct grid_axis {
  r8 first, step;
  i4 count;

  i4 node(r8 value) const { return static_cast<i4>(std::lround((value - first) / step)); }
};

/// The least distance of two neighbours is the step, if all others are multiples of it.
std::optional<grid_axis> axis_through(std::vector<r8> values) {
  std::sort(values.begin(), values.end());
  r8 step = std::numeric_limits<r8>::infinity();
  for (std::size_t n = 1; n < values.size(); ++n)
    if (values[n] - values[n - 1] > millimetre) step = std::min(step, values[n] - values[n - 1]);
  if (!std::isfinite(step)) return {};
  const r8 steps = std::round((values.back() - values.front()) / step);
  if (!(steps < map_grid::most_nodes)) return {};
  const grid_axis axis{values.front(), (values.back() - values.front()) / steps, static_cast<i4>(steps) + 1};
  const bool fits = std::all_of(values.begin(), values.end(), [&](r8 value) {
    return std::abs(axis.first + axis.node(value) * axis.step - value) <= 2 * millimetre;
  });
  return fits ? std::optional(axis) : std::nullopt;
}

map_grid empty_grid(r8 west, r8 south, r8 dx, r8 dy, r8 columns, r8 rows) {
  if (!(columns * rows <= map_grid::most_nodes))
    stop_program(
        fmt::format("velkmtx: a grid of {:.0f} x {:.0f} nodes is too much; a wider spacing makes it less",
                    columns, rows));
  return {west,
          south,
          dx,
          dy,
          static_cast<i4>(columns),
          static_cast<i4>(rows),
          std::vector<r8>(static_cast<std::size_t>(columns * rows), hole)};
}

triangulated_surface triangulated(const std::vector<ground_point>& points) {
  triangulated_surface s;
  s.n = static_cast<i4>(points.size());
  for (owned_array1<r8>* t : {&s.tx, &s.ty, &s.tz}) *t = owned_array1<r8>(s.n);
  for (i4 i = 1; i <= s.n; ++i) {
    const ground_point& p = points[static_cast<std::size_t>(i - 1)];
    s.tx(i) = p.x;
    s.ty(i) = p.y;
    s.tz(i) = p.z;
  }
  s.adj_end = owned_array1<i4>(s.n);
  s.adj_list = owned_array1<i4>(std::max<i8>(6 * i8{s.n} - 9, 0));
  reorder_nodes(s.n, 3, s.ty, s.tx, s.tz, s.adj_end);
  i4 status = 0;
  build_triangulation(s.n, s.ty, s.tx, s.adj_list, s.adj_end, status);
  if (status != 0)
    stop_program("velkmtx: the stations lie on one line, between which there is nothing to interpolate");
  return s;
}

/// Values between the stations. A place on the hull belongs to it: it is looked at a hair towards the middle.
class interpolation {
 public:
  explicit interpolation(const std::vector<ground_point>& points) : surface_(triangulated(points)) {
    for (const ground_point& p : points) {
      middle_x_ += p.x / static_cast<r8>(points.size());
      middle_y_ += p.y / static_cast<r8>(points.size());
    }
  }

  r8 at(r8 x, r8 y) {
    constexpr r8 hair = 1e-9;
    r8 value = 0;
    i4 status = 0;
    surface_value(surface_.n, y + hair * (middle_y_ - y), x + hair * (middle_x_ - x), surface_.ty,
                  surface_.tx, surface_.tz, surface_.adj_list, surface_.adj_end, start_, value, status);
    return status == 0 ? value : hole;
  }

 private:
  triangulated_surface surface_;
  r8 middle_x_ = 0, middle_y_ = 0;
  i4 start_ = 1;
};

}  // namespace

map_grid stations_on_grid(std::span<const ground_point> values) {
  const std::vector<ground_point> points = average_squares(values, 0);
  std::vector<r8> x, y;
  for (const ground_point& p : points) {
    x.push_back(p.x);
    y.push_back(p.y);
  }
  const auto along_x = axis_through(x), along_y = axis_through(y);
  // Scattered stations, too, lie on some grid; one of a millimetre, say, and nearly without any.
  if (!along_x || !along_y || r8{1} * along_x->count * along_y->count > 4.0 * static_cast<r8>(points.size()))
    refuse_scattered();
  map_grid grid = empty_grid(along_x->first, along_y->first, along_x->step, along_y->step, along_x->count,
                             along_y->count);
  for (const ground_point& p : points) grid.node(along_x->node(p.x), along_y->node(p.y)) = p.z;
  return grid;
}

map_grid interpolated(std::span<const ground_point> values, r8 spacing) {
  const std::vector<ground_point> points = average_squares(values, 0);
  bounding_box box;
  for (const ground_point& p : points) box.include(p.x, p.y);
  const r8 west = std::ceil(box.min_x / spacing), south = std::ceil(box.min_y / spacing);
  const r8 columns = std::floor(box.max_x / spacing) - west + 1,
           rows = std::floor(box.max_y / spacing) - south + 1;
  if (columns < 1 || rows < 1) stop_program("velkmtx: the spacing is wider than the survey");
  interpolation between(points);
  map_grid grid = empty_grid(west * spacing, south * spacing, spacing, spacing, columns, rows);
  for (i4 row = 0; row < grid.rows; ++row)
    for (i4 column = 0; column < grid.columns; ++column)
      grid.node(column, row) = between.at(grid.x(column), grid.y(row));
  return grid;
}

}  // namespace velko
