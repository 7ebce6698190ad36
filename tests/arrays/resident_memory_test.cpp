#include "arrays/resident_memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>

namespace velko {
namespace {

TEST(ResidentMemory, GrowsByWhatIsTouched) {
  constexpr i8 bytes = i8{64} << 20, little = i8{8} << 20;
  const i8 before = resident_memory(), most_before = most_resident_memory();
  EXPECT_GT(before, 0);
  EXPECT_GE(most_before, before - little);
  // Of the system, not of an allocator: those of the sanitizers keep for a while what is given back.
  void* const touched = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(touched, MAP_FAILED);
  std::memset(touched, 'x', bytes);
  EXPECT_NEAR(static_cast<r8>(resident_memory() - before), static_cast<r8>(bytes), static_cast<r8>(little));
  ASSERT_EQ(munmap(touched, bytes), 0);
  EXPECT_LT(resident_memory(), before + little);
  EXPECT_GT(most_resident_memory(), before + bytes - little);
}

}  // namespace
}  // namespace velko
