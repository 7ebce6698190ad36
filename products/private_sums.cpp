#include "products/private_sums.h"

#include <omp.h>

#include <algorithm>

namespace velko {
namespace {

// A piece of y that stays in the first cache while the arrays are added to it, one after another.
constexpr i8 piece = 1024;

void add(const r8* from, i8 n, r8* to) {
  for (i8 k = 0; k < n; ++k) to[k] += from[k];
}

/// Where the slice of a thread starts, in whole cache lines; that of the thread behind the last is the end of y.
i8 slice_start(i8 size, i8 thread, i8 threads) {
  constexpr i8 line = 8;
  return thread == threads ? size : size / line * thread / threads * line;
}

}  // namespace

private_sums::private_sums(std::span<r8> y, i8 blocks)
    : y_(y),
      threads_(static_cast<int>(std::clamp<i8>(blocks, 1, omp_get_max_threads()))),
      others_(static_cast<std::size_t>(threads_ - 1)) {}

r8* private_sums::make_mine() noexcept {
  const int thread = omp_get_thread_num();
  if (thread == 0) {
    std::fill(y_.begin(), y_.end(), 0.0);
    return y_.data();
  }
  owned_array1<r8>& mine = others_[static_cast<std::size_t>(thread - 1)];
  try {
    mine = owned_array1<r8>(y_.size());
  } catch (const std::bad_alloc&) {
    refused_ = true;
  }
  return mine.data();
}

void private_sums::merge_my_slice() noexcept {
  if (refused_) return;
  const i8 size = static_cast<i8>(y_.size()), thread = omp_get_thread_num(), threads = omp_get_num_threads();
  const i8 end = slice_start(size, thread + 1, threads);
  for (i8 at = slice_start(size, thread, threads); at < end; at += piece)
    for (std::size_t other = 0; other + 1 < static_cast<std::size_t>(threads); ++other)
      add(others_[other].data() + at, std::min(piece, end - at), y_.data() + at);
}

void private_sums::check() const {
  if (refused_) throw memory_refused(y_.size() * sizeof(r8));
}

}  // namespace velko
