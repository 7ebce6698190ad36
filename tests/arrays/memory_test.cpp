#include "arrays/memory.h"

#include <gtest/gtest.h>

#include <cstring>

#include "arrays/array.h"

namespace velko {
namespace {

TEST(Memory, BlockLargerThanTheMachineCountsAsFailed) {
  EXPECT_THROW(acquire_bytes(static_cast<std::size_t>(machine_memory()) + 1, false), std::bad_alloc);
  EXPECT_THROW(acquire_bytes(~std::size_t{0}, true), std::bad_alloc);
}

TEST(Memory, ExtentsWhoseBytesWrapCountAsFailed) {
  constexpr i4 most = std::numeric_limits<i4>::max();
  EXPECT_THROW((owned_array3<r8>(most, most, most)), std::bad_alloc);
  EXPECT_THROW((owned_array2<r8>(most, most)), std::bad_alloc);
}

TEST(Memory, BlocksThatOnlyTogetherAreTooLargeCountAsFailed) {
  const std::size_t half = static_cast<std::size_t>(memory_limit()) / 2 + 1;
  void* one = acquire_bytes(half, false);
  EXPECT_THROW(acquire_bytes(half, false), memory_refused);
  EXPECT_THROW(acquire_bytes(half, true), memory_refused) << "a refused block still counts";
  release_bytes(one, half);
  void* another = acquire_bytes(half, false);
  EXPECT_NE(another, nullptr);
  release_bytes(another, half);
}

TEST(Memory, UntouchedBlockCostsNothing) {
  const std::size_t bytes = static_cast<std::size_t>(machine_memory()) / 2;
  for (int repeat = 0; repeat < 8; ++repeat) {  // more than the machine has, were it touched and kept
    void* block = acquire_bytes(bytes, false);
    ASSERT_NE(block, nullptr);
    static_cast<char*>(block)[bytes - 1] = 1;
    release_bytes(block, bytes);
  }
}

TEST(Memory, BlocksOfEverySizeCanBeUsedToTheirLastByte) {
  for (const std::size_t bytes :
       {std::size_t{1}, std::size_t{63}, std::size_t{64}, std::size_t{65}, (std::size_t{4} << 20) - 1,
        std::size_t{4} << 20, (std::size_t{4} << 20) + 1}) {
    auto* block = static_cast<unsigned char*>(acquire_bytes(bytes, true));
    EXPECT_EQ(block[0], 0);
    EXPECT_EQ(block[bytes - 1], 0);
    std::memset(block, 0xff, bytes);
    EXPECT_EQ(block[bytes - 1], 0xff);
    release_bytes(block, bytes);
  }
}

TEST(Memory, NoBytesGiveNoBlock) {
  EXPECT_EQ(acquire_bytes(0, true), nullptr);
}

}  // namespace
}  // namespace velko
