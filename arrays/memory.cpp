#include "arrays/memory.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velko {

namespace {

#if defined(__SANITIZE_ADDRESS__)
#define VELKO_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELKO_ADDRESS_SANITIZER 1
#endif
#endif

constexpr std::size_t huge_page = std::size_t{2} << 20;

// Blocks of at least this size are large: their sum is held to the limit. Small ones are too many to count, and too
// little together to matter.
constexpr std::size_t large = 2 * huge_page;

// Blocks of at least this size come from the system. The address sanitizer sees the ends of heap blocks only, and
// marks each of their bytes, so it gets all blocks but those that are too large to be filled.
#if defined(VELKO_ADDRESS_SANITIZER)
constexpr std::size_t from_the_system = std::size_t{1} << 30;
#else
constexpr std::size_t from_the_system = large;
#endif

/// The bytes of all large blocks.
std::atomic<std::size_t> in_use{0};

std::size_t in_whole_pages(std::size_t bytes) {
  return (bytes + huge_page - 1) / huge_page * huge_page;
}

/// Maps one huge page more than asked, then gives back what stands before and behind the aligned block. Null if the
/// system refuses.
void* map_aligned(std::size_t bytes) {
  const std::size_t length = in_whole_pages(bytes);
  void* mapped = mmap(nullptr, length + huge_page, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  auto* start = static_cast<std::byte*>(mapped);
  const std::size_t before = (huge_page - reinterpret_cast<std::uintptr_t>(start) % huge_page) % huge_page;
  if (before > 0) munmap(start, before);
  munmap(start + before + length, huge_page - before);
  madvise(start + before, length, MADV_HUGEPAGE);  // advice: a refusal costs speed only
  return start + before;
}

void* from_the_heap(std::size_t bytes) {
#if defined(VELKO_ADDRESS_SANITIZER)
  return std::malloc(bytes);  // ends where the array ends
#else
  return std::aligned_alloc(64, (bytes + 63) / 64 * 64);
#endif
}

void* small_block(std::size_t bytes, bool zeroed) {
  void* block = from_the_heap(bytes);
  if (block != nullptr && zeroed) std::memset(block, 0, bytes);
  return block;
}

void* large_block(std::size_t bytes, bool zeroed) {
  const auto limit = static_cast<std::size_t>(memory_limit());
  const std::size_t others = in_use.fetch_add(bytes);
  const bool fits = bytes <= limit && others <= limit - bytes;
  void* block = nullptr;
  if (fits) block = bytes >= from_the_system ? map_aligned(bytes) : small_block(bytes, zeroed);
  if (block == nullptr) in_use -= bytes;
  return block;
}

}  // namespace

memory_refused::memory_refused(std::size_t bytes) {
  std::snprintf(text_, sizeof text_, "out of memory: %zu bytes refused", bytes);
}

void* acquire_bytes(std::size_t bytes, bool zeroed) {
  if (bytes == 0) return nullptr;
  void* block = bytes >= large ? large_block(bytes, zeroed) : small_block(bytes, zeroed);
  return block != nullptr ? block : throw memory_refused(bytes);
}

void release_bytes(void* block, std::size_t bytes) noexcept {
  if (bytes >= large) in_use -= bytes;
  if (bytes >= from_the_system)
    munmap(block, in_whole_pages(bytes));
  else
    std::free(block);
}

}  // namespace velko
