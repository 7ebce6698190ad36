#include "responses/directions.h"

#include <cmath>
#include <numbers>

#include "responses/series.h"

namespace velko {

namespace {

struct sine_cosine {
  r8 sine, cosine;
};

/// Sine and cosine of an angle in degrees. The nearest multiple of 90 is taken off before radians come in: remquo
/// is exact, and the radians of 90 degrees are not.
sine_cosine of_degrees(r8 angle) {
  int quarter_turns = 0;
  const r8 rest = std::remquo(angle, 90.0, &quarter_turns) * (std::numbers::pi / 180.0);
  const r8 s = portable_sin(rest), c = portable_cos(rest);
  switch (static_cast<unsigned>(quarter_turns) % 4) {
    case 0:
      return {s, c};
    case 1:
      return {c, -s};
    case 2:
      return {-s, -c};
    default:
      return {-c, s};
  }
}

}  // namespace

direction unit_vector(r8 incl, r8 decl) {
  const sine_cosine i = of_degrees(incl), d = of_degrees(decl);
  return {i.cosine * d.sine, i.cosine * d.cosine, -i.sine};
}

}  // namespace velko
