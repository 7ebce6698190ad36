/// Trade-off curve: misfit against model norm, a point for each damping, and its corner.
///
/// Corner   where the curve of log misfit over log norm bends most: to its right data are lost, to its left the model
///          grows without explaining much. The point farthest from the straight line through the two ends, which needs no
///          second derivatives
/// Sources  P. C. Hansen and D. O'Leary, SIAM J. Sci. Comput. 14 (1993) 1487-1503, doi 10.1137/0914086; the chord:
///          J. Castellanos, S. Gomez and V. Guerra, Appl. Numer. Math. 43 (2002) 359-373, doi 10.1016/S0168-9274(01)00179-9
#pragma once

#include <velko/arrays/numbers.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace recover {

struct trade_off_point {
  velko::i4 iteration = 0;
  velko::r8 damping = 0, misfit = 0, norm = 0;
  velko::i4 steps = 0;
};

/// The index of the corner; the curve has at least one point.
inline std::size_t corner_of(std::vector<trade_off_point> curve) {
  const auto axis = [&](auto&& coordinate, const trade_off_point& p) {
    const velko::r8 first = std::log(coordinate(curve.front())), last = std::log(coordinate(curve.back()));
    return first == last ? 0 : (std::log(coordinate(p)) - first) / (last - first);
  };
  std::size_t corner = 0;
  velko::r8 farthest = -1;
  for (std::size_t n = 0; n < curve.size(); ++n) {
    const velko::r8 fitted = axis([](const trade_off_point& p) { return p.misfit; }, curve[n]);
    const velko::r8 grown = axis([](const trade_off_point& p) { return std::max(p.norm, 1e-300); }, curve[n]);
    if (fitted - grown > farthest) {
      farthest = fitted - grown;
      corner = n;
    }
  }
  return corner;
}

}  // namespace recover
