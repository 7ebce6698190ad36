/// Projection: positions from one coordinate system into another, by PROJ.
///
/// Systems  as PROJ and GDAL name them: "EPSG:32630", a PROJ string, WKT
/// Axes     x is east or longitude, y north or latitude, whatever the system's authority says
/// Errors   a system that is none, or none for a map in lengths, ends in the program stop with a hint
/// Sources  the parameters come from the EPSG registry in PROJ's data; heights of the geoid from EGM96, NASA and NIMA,
///          on a grid of 15 minutes, the one that Debian's proj-data holds
#pragma once

#include <span>
#include <string>

#include "arrays/numbers.h"

namespace velko {

/// Positions that have no image become NaN.
void reproject(const std::string& from, const std::string& to, std::span<r8> x, std::span<r8> y);

/// Turns heights above the ellipsoid WGS 84 into heights above the geoid EGM96, at positions of that system.
void heights_above_sea(const std::string& system, std::span<const r8> x, std::span<const r8> y,
                       std::span<r8> height);

/// In angles, not lengths: longitude and latitude.
bool is_geographic(const std::string& system);

/// The system of output coordinates has to be one of lengths.
void check_is_projected(const std::string& system);

/// For hints: the UTM system for a place.
std::string utm_system(r8 longitude, r8 latitude);

}  // namespace velko
