/// The questions of geometry.h, answered without rounding, for finite coordinates of any size.
///
/// What     a question is first asked in floats that carry a bound of their error; where that leaves the
///          answer open, it is asked again in binary fractions of any length
/// Errors   none. A coordinate that is not finite counts as some number
/// Speed    decided by the bound, an answer costs a few floats more; by long fractions, about a microsecond
#pragma once

#include <compare>

#include "topography/geometry.h"

namespace velko {

struct exact_tests {
  static bool left(point a, point b, point p);
  static std::partial_ordering side(point a, point b, point p);
  static std::partial_ordering cosine(point apex, point p, point q);
  static bool swap(point in1, point in2, point io1, point io2);

  /// p lies right of the line from a to b, and further from it than the rounding of this test in floats
  /// explains.
  static bool clearly_right(point a, point b, point p);
};

}  // namespace velko
