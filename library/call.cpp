#include "library/call.h"

#include "arrays/floating_point_mode.h"

namespace velko {

void call(problem& p, const std::function<void()>& body, capture::what_then words) {
  told_end told;
  // The channels are captured inside the scope: whose turn it is in the shared state, his they are.
  const stop_or_done taken = run_until_stop([&] {
    const problem_scope in_place(p);
    const flush_to_zero_scope mode;
    told = run_and_tell(body, words);
  });
  if (taken.kind != stop_or_done::done) told.end = taken;
  if (told.end.kind != stop_or_done::done) throw call_failed(std::move(told));
}

}  // namespace velko
