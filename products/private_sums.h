/// Private sums: what the row loops that scatter share. Each thread sums its rows into an array of its own, and the
/// arrays are then added up.
///
/// What     y = sum over the blocks of rows of what add_block adds for each; y is cleared first, also with no blocks
/// Why      two rows may hit one element. An array for each thread keeps the inner loops free of atomic operations; its
///          price is one more y for each thread but the first, whose array is y itself
/// Bits     each thread takes one contiguous block of rows, in ascending order, and every element is summed in thread
///          order: the result is the same, run after run, for a given number of threads. It differs in the last bits
///          from one number of threads to another
/// Memory   on the heap: the stack of the main thread is not ours to size. Every array is made, and so first touched,
///          by the thread that fills it. No more threads are asked for than there are blocks
/// Errors   memory_refused where an array cannot be had, thrown on the calling thread behind the parallel region
/// Threads  as many as the run-time gives. All of them add up at the end, each over its own slice of y
/// See      products/sparse_rows.cpp, products/full_rows.cpp; benchmarks/bench_adjoint.cpp for the merge alone
#pragma once

#include <atomic>
#include <span>
#include <vector>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// The arrays of one team. Inside the parallel region each thread calls make_mine, fills what it got, and behind a
/// barrier merge_my_slice; behind the region the caller calls check.
class private_sums {
 public:
  /// For a team of as many threads as there are blocks, or as there can be.
  private_sums(std::span<r8> y, i8 blocks);

  int threads() const { return threads_; }
  /// The calling thread's array, zero throughout; null where memory is refused.
  r8* make_mine() noexcept;
  /// Adds the arrays in thread order, over the calling thread's slice of y.
  void merge_my_slice() noexcept;
  void check() const;

 private:
  std::span<r8> y_;
  int threads_;
  std::vector<owned_array1<r8>> others_;  // of thread 1, 2, ...
  std::atomic<bool> refused_ = false;
};

/// add_block(block, sum) adds what the rows of a block, counted from 0, contribute to y. It must not throw.
template <class body>
void sum_blocks(std::span<r8> y, i8 blocks, body&& add_block) {
  private_sums sums(y, blocks);
#pragma omp parallel num_threads(sums.threads())
  {
    r8* const mine = sums.make_mine();
#pragma omp for schedule(static)  // ends with a barrier
    for (i8 block = 0; block < blocks; ++block)
      if (mine != nullptr) add_block(block, mine);
    sums.merge_my_slice();
  }
  sums.check();
}

}  // namespace velko
