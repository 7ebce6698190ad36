/// Memory for the rows of G: many small arrays of exact length, one behind another in large blocks.
///
/// Why      the rows come one at a time and their sizes are not known ahead; blocks of this size live in huge
///          pages (arrays/memory.h), and only what rows have taken of a block is ever touched
/// Life     what was taken stays until clear() or the end of the object
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "arrays/array.h"

namespace velko {

class row_memory {
 public:
  /// `bytes` bytes of uninitialised memory, aligned to 8. Throws std::bad_alloc.
  std::byte* take(i8 bytes) {
    bytes = (bytes + 7) / 8 * 8;
    if (bytes > left_) open_block(bytes);
    left_ -= bytes;
    return std::exchange(next_, next_ + bytes);
  }

  void clear() {
    blocks_.clear();
    next_ = nullptr;
    left_ = 0;
  }

 private:
  static constexpr i8 block_bytes = i8{64} << 20;

  void open_block(i8 bytes) {
    blocks_.emplace_back(uninitialised, std::max(bytes, block_bytes));
    next_ = blocks_.back().data();
    left_ = blocks_.back().size();
  }

  std::vector<owned_array1<std::byte>> blocks_;
  std::byte* next_ = nullptr;
  i8 left_ = 0;
};

}  // namespace velko
