/// Reference field: the Earth's main field at a place and a date, by GeographicLib.
///
/// Models  spherical harmonic models that GeographicLib reads, the IGRF for one. Their coefficients come from their makers
///         (for the IGRF from IAGA), as files that GeographicLib's own geographiclib-get-magnetic fetches into the folder
///         where it looks for them: GEOGRAPHICLIB_MAGNETIC_PATH, or /usr/share/GeographicLib/magnetic and its like
/// Date    "2021-06-15" or a year with its fraction, "2021.46"
/// Errors  a model that is not there, a date that is none or beyond the model's years, and a build without GeographicLib
///         end in the program stop, which says what to do
/// Sources C. Karney, GeographicLib, its class MagneticModel; P. Alken et al., Earth Planets Space 73 (2021) 49,
///         doi 10.1186/s40623-020-01288-x (IGRF)
#pragma once

#include <string>

#include "arrays/numbers.h"

namespace velko {

struct main_field {
  r8 inclination = 0, declination = 0;  // degrees: down from the horizontal, clockwise from true north
  r8 strength = 0;                      // nT
};

struct place_on_earth {
  r8 longitude = 0, latitude = 0, height = 0;  // degrees on WGS 84, metres
};

/// An empty model is the newest IGRF that is there.
main_field reference_field(const std::string& model, const std::string& date, const place_on_earth& at);

}  // namespace velko
