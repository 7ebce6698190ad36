/// Ground: scattered points of a terrain, for a topography file and from one.
///
/// What     ground_below takes the stations of a draped survey down by their clearance: where no terrain file is at
///          hand, that is what the survey knows of it. average_squares makes one point of all those in a square, so that
///          lines that cross at different heights leave no cliff. elevations_at gives what the surface of a topography
///          file is at any places, the same surface that a mesh is cut with
/// Units    metres, x east, y north, elevations up
/// Errors   those of read_topography
/// See      docs/formats/topography_file.md
#pragma once

#include <span>
#include <string>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

struct ground_point {
  r8 x, y, z;
};

std::vector<ground_point> ground_below(std::span<const ground_point> stations, r8 clearance);

/// One point, the mean, for the points of each square of that side; with a side of 0 for those at one place, to the
/// millimetre.
std::vector<ground_point> average_squares(std::span<const ground_point> points, r8 side);

/// The surface of the topography file below or above each of these points, whose own heights do not count.
std::vector<r8> elevations_at(const std::string& topography_file, std::span<const ground_point> places);

}  // namespace velko
