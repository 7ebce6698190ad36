/// One entry of a sparse row of G.
#pragma once

#include "arrays/numbers.h"

namespace velko::test {

struct entry {
  i4 idx;
  r4 val;
};

}  // namespace velko::test
