/// The leading nodes while they all lie on one line: the chain, in their order along it.
///
/// What     the chain grows node by node until one leaves the line; that node becomes the apex of a fan of
///          triangles over the chain (write_fan)
/// Order    chain(1) is the left end, and the apex comes to lie to the right of the chain's direction
#pragma once

#include <algorithm>
#include <compare>

#include "topography/adjacency_table.h"
#include "topography/geometry.h"

namespace velko {

/// Where on the line of the chain of m nodes node k stands: the position that it takes, 1 to m + 1.
template <class tests>
i4 place_in_chain(i4 k, i4 m, node_points nodes, array1<const i4> chain) {
  const point left_end = nodes(chain(1)), right_end = nodes(chain(m)), p = nodes(k);
  if (std::is_lteq(tests::cosine(left_end, p, right_end))) return 1;
  for (i4 place = 2; place <= m; ++place)
    if (std::is_gteq(tests::cosine(nodes(chain(place)), left_end, p))) return place;
  return m + 1;
}

/// The first node off the line, with those before it in the chain; 0 when all n nodes lie on one line.
template <class tests>
i4 chain_up_to_apex(i4 n, node_points nodes, array1<i4> chain) {
  chain(1) = 1;
  chain(2) = 2;
  for (i4 k = 3; k <= n; ++k) {
    const i4 m = k - 1;
    const std::partial_ordering side = tests::side(nodes(chain(1)), nodes(chain(m)), nodes(k));
    if (std::is_gt(side)) std::reverse(chain.begin(), chain.begin() + m);
    if (std::is_neq(side)) return k;
    const i4 place = place_in_chain<tests>(k, m, nodes, chain);
    shift_range(place, m, 1, chain);
    chain(place) = k;
  }
  return 0;
}

}  // namespace velko
