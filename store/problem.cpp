#include "store/problem.h"

#include <omp.h>

#include <atomic>
#include <mutex>
#include <type_traits>
#include <utility>

#include "reports/program_stop.h"

namespace velko {

namespace {

/// Held by the thread whose scopes are open.
std::recursive_mutex shared_state_taken;

}  // namespace

struct problem::held_state {
  whole_state state;  // while a scope is open, what stood in the shared state before
  std::atomic<bool> in_use = false;
};

void exchange_shared_state(whole_state& state) noexcept {
  static_assert(std::is_nothrow_move_constructible_v<whole_state> &&
                std::is_nothrow_move_assignable_v<whole_state>);
  std::swap(mesh, state.mesh);
  std::swap(store, state.store);
  std::swap(survey, state.survey);
  std::swap(cells, state.cells);
  std::swap(run, state.run);
  std::swap(wavelet, state.wavelet);
}

problem::problem() : held_(std::make_shared<held_state>()) {}

problem_scope::problem_scope(problem& p) : held_(p.held_) {
  if (held_ == nullptr) stop_program("the problem was moved away");
  if (omp_in_parallel() != 0) stop_program("a problem can't be put in place inside a parallel region");
  if (held_->in_use.exchange(true)) stop_program("the problem is in use");
  shared_state_taken.lock();
  exchange_shared_state(held_->state);
}

problem_scope::~problem_scope() {
  exchange_shared_state(held_->state);
  shared_state_taken.unlock();
  held_->in_use = false;
}

}  // namespace velko
