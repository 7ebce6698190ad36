/// The elements of the dense G at hand, row behind row, wherever they stand.
#pragma once

#include <vector>

#include "store/state.h"

namespace velko::test {

inline std::vector<r4> dense_values() {
  std::vector<r4> all;
  for (i8 i = 1; i <= store.Gfull.extent(2); ++i) {
    const array1<r4> row = store.Gfull.row(i);
    all.insert(all.end(), row.begin(), row.end());
  }
  return all;
}

}  // namespace velko::test
