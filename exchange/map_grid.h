/// Map grid: values at the nodes of a grid along x and y, such as elevations or data.
///
/// Order    from south-west to north-east, x fastest
/// Holes    NaN
/// Units    lengths, x east, y north; values in any
#pragma once

#include <cstddef>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

struct map_grid {
  static constexpr r8 most_nodes = 100e6;

  r8 west = 0, south = 0, dx = 0, dy = 0;
  i4 columns = 0, rows = 0;
  std::vector<r8> values;

  r8 x(i4 column) const { return west + column * dx; }
  r8 y(i4 row) const { return south + row * dy; }
  r8& node(i4 column, i4 row) { return values[position(column, row)]; }
  r8 node(i4 column, i4 row) const { return values[position(column, row)]; }

  /// Linear between the nodes; NaN beyond them and beside holes.
  r8 at(r8 px, r8 py) const;

 private:
  std::size_t position(i4 column, i4 row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
  }
};

}  // namespace velko
