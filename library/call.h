/// A call into the library by a program that is none of the suite: its own console, its own floating-point mode, its own way
/// with failures.
///
/// What     call runs a body with a problem in the place of the shared state, with denormals as zero in the calling thread
///          and in the workers of its parallel regions, and with console and log silent unless asked to speak. Behind it
///          state, mode and channels are what they were
/// Errors   call_failed, for a stop of the library and for failures of the run-time alike
/// Threads  as store/problem.h says: one call at a time; those of other problems in other threads wait; none in a parallel region
/// See      library/problem_products.h, examples/predict_from_memory.cpp
///
/// Example  call(p, [&] { getpar("velkosta.mtx"); });
#pragma once

#include <functional>
#include <stdexcept>

#include "reports/told_end.h"
#include "store/problem.h"

namespace velko {

/// what() is the reason in one line; `told` holds how the call ended and all that was said.
class call_failed : public std::runtime_error {
 public:
  explicit call_failed(told_end how) : std::runtime_error(how.reason()), told(std::move(how)) {}
  told_end told;
};

void call(problem& p, const std::function<void()>& body, capture::what_then words = capture::kept);

}  // namespace velko
