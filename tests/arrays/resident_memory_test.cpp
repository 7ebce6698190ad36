#include "arrays/resident_memory.h"

#include <gtest/gtest.h>

#include <vector>

namespace velko {
namespace {

TEST(ResidentMemory, GrowsByWhatIsTouched) {
  constexpr i8 bytes = i8{64} << 20, little = i8{8} << 20;
  const i8 before = resident_memory(), most_before = most_resident_memory();
  EXPECT_GT(before, 0);
  EXPECT_GE(most_before, before - little);
  {
    const std::vector<char> touched(bytes, 'x');
    EXPECT_NEAR(static_cast<r8>(resident_memory() - before), static_cast<r8>(bytes), static_cast<r8>(little))
        << touched[bytes / 2];
  }
  EXPECT_LT(resident_memory(), before + little);
  EXPECT_GT(most_resident_memory(), before + bytes - little);
}

}  // namespace
}  // namespace velko
