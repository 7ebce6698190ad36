/// An empty problem in the place of the shared state, for one test.
#pragma once

#include "store/problem.h"

namespace velko::test {

/// A member of a fixture: its test starts with empty state and leaves none behind.
struct fresh_problem {
  problem own;
  problem_scope in_place{own};
};

}  // namespace velko::test
