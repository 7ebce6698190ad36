/// Directions: the angles of a survey as unit vectors.
///
/// What     inclination is positive downward from the horizontal, declination clockwise from north
/// Units    degrees; the vector has length 1, along x east, y north and z up
/// Exact    a multiple of 90 degrees gives exact zeros and ones, so that a vertical field has no trace of a
///          horizontal part
#pragma once

#include "arrays/numbers.h"

namespace velko {

struct direction {
  r8 x, y, z;  // east, north, up
};

direction unit_vector(r8 incl, r8 decl);

}  // namespace velko
