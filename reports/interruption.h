/// Interruption: a long call is asked to end, by a signal handler or another thread.
///
/// What     ask_for_interruption has the row loops pass over the rows that are left, and the call end with the stop
///          "interrupted"; forget_interruption before a call lets it run whole. Who asks nothing loses nothing: a row costs
///          one more read of a flag
/// Threads  asked for from anywhere; a call that is to be interruptible is one at a time
#pragma once

#include <atomic>

#include "reports/program_stop.h"

namespace velko {

inline std::atomic<bool> interruption = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler writes it

inline void ask_for_interruption() {
  interruption.store(true, std::memory_order_relaxed);
}
inline void forget_interruption() {
  interruption.store(false, std::memory_order_relaxed);
}
inline bool interruption_is_asked_for() {
  return interruption.load(std::memory_order_relaxed);
}

/// To be asked behind a loop that passed over rows, and between long steps.
inline void end_if_interrupted() {
  if (interruption_is_asked_for()) stop_program("interrupted");
}

}  // namespace velko
