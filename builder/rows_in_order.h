/// Rows made in parallel, and passed on in their order.
///
/// What     make(n, thread) for n = 0 .. rows - 1 runs on so many threads, at once and in any order. Then
///          pass(stage, n, thread) runs for stage = 0 .. stages - 1: in each stage the rows go through one at a time
///          and in their order, so that what a stage adds up or writes doesn't depend on the threads. While one row
///          is in a stage the row before it can be in the next
/// Why      a thread that waits for its turn holds one row; so memory holds one row for each thread
/// Errors   the first exception, in the order of the rows, comes out whole; rows behind it are passed over
#pragma once

#include <omp.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

/// Which row may go through each stage.
class row_turns {
 public:
  explicit row_turns(i4 stages) : turn_(static_cast<std::size_t>(stages), 0) {}

  /// A row that nobody has drawn yet; `rows` after a failure.
  i4 draw(i4 rows) {
    const std::lock_guard lock(mutex_);
    return failure_ ? rows : std::min(drawn_++, rows);
  }
  /// Waits until it is the row's turn; false when a row before it has failed.
  bool await(i4 stage, i4 row) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return failure_ || turn_[static_cast<std::size_t>(stage)] == row; });
    return !failure_;
  }
  void end_turn(i4 stage) {
    const std::lock_guard lock(mutex_);
    ++turn_[static_cast<std::size_t>(stage)];
    changed_.notify_all();
  }
  void fail(std::exception_ptr failure) {
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = std::move(failure);
    changed_.notify_all();
  }
  void rethrow_failure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::exception_ptr failure_;
  i4 drawn_ = 0;
  std::vector<i4> turn_;
};

template <class row_maker, class row_passer>
void rows_in_order(i4 rows, int threads, i4 stages, const row_maker& make, const row_passer& pass) {
  row_turns turns(stages);
#pragma omp parallel num_threads(threads)
  {
    const int thread = omp_get_thread_num();
    for (i4 row = turns.draw(rows); row < rows; row = turns.draw(rows)) {
      std::exception_ptr failure;
      try {
        make(row, thread);
      } catch (...) {
        failure = std::current_exception();
      }
      for (i4 stage = 0; stage < stages && turns.await(stage, row); ++stage) {
        try {
          if (failure) std::rethrow_exception(failure);
          pass(stage, row, thread);
          turns.end_turn(stage);
        } catch (...) {
          turns.fail(std::current_exception());
        }
      }
    }
  }
  turns.rethrow_failure();
}

}  // namespace velko
