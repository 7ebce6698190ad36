/// Data grid: values at stations as a grid along x and y, for a map.
///
/// What     stations_on_grid takes stations that lie on a grid as they are; places without a station are NaN. interpolated
///          makes a grid of scattered ones: linear over their Delaunay triangulation, NaN beyond its hull. Of several
///          values at one place the mean counts
/// Units    lengths of the stations; nodes of an interpolated grid at whole multiples of the spacing
/// Errors   the program stop with one line: stations on no grid, on one line, or more nodes than map_grid::most_nodes
/// See      topography/location.h
#pragma once

#include <span>

#include "exchange/ground.h"
#include "exchange/map_grid.h"

namespace velko {

/// Each point's z is the value.
map_grid stations_on_grid(std::span<const ground_point> values);
map_grid interpolated(std::span<const ground_point> values, r8 spacing);

}  // namespace velko
