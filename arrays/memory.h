/// Memory of arrays: large blocks straight from the system in huge pages, small ones from the heap.
///
/// What     acquire_bytes gives a block aligned to 64 bytes or better, release_bytes takes it back. Both are compiled with
///          the library alone, so that a block goes back the way it came whatever flags the caller is compiled with
/// Why      a matrix of gigabytes is loaded once and read once or a few times, so page faults are a large
///          part of a run: a huge page takes one fault where 512 small pages take 512. Fresh pages are zero
///          and are there only once they are touched, so a large zeroed block costs nothing until it is used
/// Errors   memory_refused when the system refuses, and when the large blocks would together be larger than the process
///          can have (arrays/memory_limit.h): they could only end in the hands of the system's memory killer
/// Threads  any
#pragma once

#include <cstddef>
#include <new>

#include "arrays/memory_limit.h"
#include "arrays/numbers.h"

namespace velko {

/// A block that the system refused, or that this process can't have; what() says of how many bytes.
class memory_refused : public std::bad_alloc {
 public:
  explicit memory_refused(std::size_t bytes);
  const char* what() const noexcept override { return text_; }

 private:
  char text_[64];
};

/// A block of `bytes` bytes, zero throughout if `zeroed`; null for 0 bytes.
void* acquire_bytes(std::size_t bytes, bool zeroed);

/// Gives a block of acquire_bytes back; `bytes` is what it was acquired with.
void release_bytes(void* block, std::size_t bytes) noexcept;

}  // namespace velko
