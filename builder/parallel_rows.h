/// A loop over rows on the threads that OpenMP gives, through which an exception comes out whole.
#pragma once

#include <omp.h>

#include <exception>

#include "arrays/numbers.h"

namespace velko {

/// body(n, thread) for n = 0 .. count - 1, in any order. The first exception ends up at the caller; rows that have
/// not begun by then are passed over.
template <class body>
void parallel_rows(i4 count, const body& row) {
  std::exception_ptr failure;
#pragma omp parallel for schedule(dynamic)
  for (i4 n = 0; n < count; ++n) {
    bool failed = false;
#pragma omp critical(velko_parallel_rows)
    failed = failure != nullptr;
    if (failed) continue;
    try {
      row(n, omp_get_thread_num());
    } catch (...) {
#pragma omp critical(velko_parallel_rows)
      if (!failure) failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace velko
