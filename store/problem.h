/// Problems side by side: values that own all of the shared state, one of them in its place at a time.
///
/// What     a problem owns a mesh, a store with its mapped file, a survey, cells, a run and the filter of WTN_MOD.
///          problem_scope puts it in the place of the shared state; what stood there comes back at the end of the scope.
///          Inside, all procedures of the library work on the problem: they fill it, and form its products
/// Cost     a few dozen moves of pointers, whatever the size of G. Elements stay where they are: views of arrays hold on
///          both sides of a scope
/// Bits     problems used in turn give the bits of each alone
/// Errors   the stop "the problem is in use" (reports/program_stop.h) where a scope of the same value is open, in this thread
///          or another; "the problem was moved away" for a value that was moved from; "a problem can't be put in place
///          inside a parallel region"
/// Threads  one scope is open at a time, or several inside one another in one thread, last opened first closed; a thread that
///          opens one while another thread has one open waits for its end. A thread of a team could wait for a scope that
///          ends behind the region, for ever. Who uses the shared state without a scope keeps its threads apart himself
/// See      tests/store/problem_test.cpp; benchmarks/bench_problems.cpp
///
/// Example  problem p, q;
///          { const problem_scope at(p); getpar("north.mtx"); }
///          { const problem_scope at(q); getpar("south.mtx"); }
///          { const problem_scope at(p); get_active_cells("null", mesh.itop); GPROD(m, d); }
#pragma once

#include <memory>

#include "store/state.h"
#include "wavelet/wtn_mod.h"

namespace velko {

/// All shared state of the library, as one value. A new one is as the library starts.
struct whole_state {
  mesh_state mesh;
  store_state store;
  survey_state survey;
  cell_state cells;
  run_state run;
  wavelet_state wavelet;
};

/// Puts a state in the place of the shared one, which it holds then.
void exchange_shared_state(whole_state& state) noexcept;

/// Can be moved, also while a scope of it is open, and not copied.
class problem {
 public:
  problem();

 private:
  friend class problem_scope;
  struct held_state;
  std::shared_ptr<held_state> held_;  // shared with the open scope only
};

/// While it lives, the problem stands in the place of the shared state.
class problem_scope {
 public:
  explicit problem_scope(problem& p);
  problem_scope(const problem_scope&) = delete;
  problem_scope& operator=(const problem_scope&) = delete;
  ~problem_scope();

 private:
  std::shared_ptr<problem::held_state> held_;
};

}  // namespace velko
