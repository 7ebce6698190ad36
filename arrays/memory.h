/// Memory of arrays: large blocks straight from the system in huge pages, small ones from the heap.
///
/// What     acquire_bytes gives a block aligned to 64 bytes or better, release_bytes takes it back
/// Why      a matrix of gigabytes is loaded once and read once or a few times, so page faults are a large
///          part of a run: a huge page takes one fault where 512 small pages take 512. Fresh pages are zero
///          and are there only once they are touched, so a large zeroed block costs nothing until it is used
/// Errors   memory_refused when the system refuses, and when one block would be larger than the machine's
///          memory: it could only end in the hands of the system's memory killer
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "arrays/numbers.h"

namespace velko {

/// Physical memory of this machine, in bytes.
inline i8 machine_memory() {
  static const i8 bytes = i8{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
  return bytes;
}

/// A block that the system refused, or that no machine like this can hold; what() says of how many bytes.
class memory_refused : public std::bad_alloc {
 public:
  explicit memory_refused(std::size_t bytes) {
    std::snprintf(text_, sizeof text_, "out of memory: %zu bytes refused", bytes);
  }
  const char* what() const noexcept override { return text_; }

 private:
  char text_[64];
};

namespace memory_detail {

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELKO_ADDRESS_SANITIZER 1
#endif
#endif

inline constexpr std::size_t huge_page = std::size_t{2} << 20;

// Blocks of at least this size come from the system. The address sanitizer sees the ends of heap blocks only, and
// marks each of their bytes, so it gets all blocks but those that are too large to be filled.
#if defined(VELKO_ADDRESS_SANITIZER)
inline constexpr std::size_t from_the_system = std::size_t{1} << 30;
#else
inline constexpr std::size_t from_the_system = 2 * huge_page;
#endif

inline std::size_t in_whole_pages(std::size_t bytes) {
  return (bytes + huge_page - 1) / huge_page * huge_page;
}

/// Maps one huge page more than asked, then gives back what stands before and behind the aligned block.
inline void* map_aligned(std::size_t bytes) {
  const std::size_t length = in_whole_pages(bytes);
  void* mapped = mmap(nullptr, length + huge_page, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) throw memory_refused(bytes);
  auto* start = static_cast<std::byte*>(mapped);
  const std::size_t before = (huge_page - reinterpret_cast<std::uintptr_t>(start) % huge_page) % huge_page;
  if (before > 0) munmap(start, before);
  munmap(start + before + length, huge_page - before);
  madvise(start + before, length, MADV_HUGEPAGE);  // advice: a refusal costs speed only
  return start + before;
}

inline void* from_the_heap(std::size_t bytes) {
#if defined(VELKO_ADDRESS_SANITIZER)
  void* block = std::malloc(bytes);  // ends where the array ends
#else
  void* block = std::aligned_alloc(64, (bytes + 63) / 64 * 64);
#endif
  return block != nullptr ? block : throw memory_refused(bytes);
}

}  // namespace memory_detail

/// A block of `bytes` bytes, zero throughout if `zeroed`; null for 0 bytes.
inline void* acquire_bytes(std::size_t bytes, bool zeroed) {
  if (bytes == 0) return nullptr;
  if (bytes > static_cast<std::size_t>(machine_memory())) throw memory_refused(bytes);
  if (bytes >= memory_detail::from_the_system) return memory_detail::map_aligned(bytes);
  void* block = memory_detail::from_the_heap(bytes);
  if (zeroed) std::memset(block, 0, bytes);
  return block;
}

/// Gives a block of acquire_bytes back; `bytes` is what it was acquired with.
inline void release_bytes(void* block, std::size_t bytes) noexcept {
  if (bytes >= memory_detail::from_the_system)
    munmap(block, memory_detail::in_whole_pages(bytes));
  else
    std::free(block);
}

}  // namespace velko
