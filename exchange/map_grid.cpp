#include "exchange/map_grid.h"

#include <algorithm>
#include <limits>

namespace velko {

r8 map_grid::at(r8 px, r8 py) const {
  constexpr r8 outside = std::numeric_limits<r8>::quiet_NaN();
  const r8 u = (px - west) / dx, v = (py - south) / dy;
  if (!(0 <= u && u <= columns - 1 && 0 <= v && v <= rows - 1)) return outside;
  const i4 j = std::min(static_cast<i4>(u), std::max(columns - 2, 0)),
           i = std::min(static_cast<i4>(v), std::max(rows - 2, 0));
  const r8 s = u - j, t = v - i;
  // A node without a share does not count: it may be a hole, or not be there at all.
  const auto share = [this](r8 weight, i4 column, i4 row) {
    return weight > 0 ? weight * node(column, row) : 0.0;
  };
  return share((1 - s) * (1 - t), j, i) + share(s * (1 - t), j + 1, i) + share((1 - s) * t, j, i + 1) +
         share(s * t, j + 1, i + 1);
}

}  // namespace velko
