#include "arrays/floating_point_mode.h"

#include <gtest/gtest.h>

#include <limits>

#include "arrays/numbers.h"

namespace velko {
namespace {

/// The mode of this thread is put back at the end of a test.
class FloatingPointMode : public testing::Test {
 protected:
  ~FloatingPointMode() override { _mm_setcsr(before_); }

 private:
  unsigned before_ = _mm_getcsr();
};

TEST_F(FloatingPointMode, FlushToZeroMakesADenormalResultZero) {
  volatile r8 least = std::numeric_limits<r8>::min();
  EXPECT_GT(least / 2, 0.0);
  set_flush_to_zero();
  EXPECT_EQ(least / 2, 0.0);
}

TEST_F(FloatingPointMode, FlushToZeroMakesADenormalOperandZero) {
  volatile r8 denormal = std::numeric_limits<r8>::denorm_min(), large = 0x1p600;
  EXPECT_GT(denormal * large, 0.0);
  set_flush_to_zero();
  EXPECT_EQ(denormal * large, 0.0);
}

TEST_F(FloatingPointMode, FlushToZeroLeavesTheRoundingAsItIs) {
  _mm_setcsr(_mm_getcsr() | _MM_ROUND_UP);
  set_flush_to_zero();
  EXPECT_EQ(_MM_GET_ROUNDING_MODE(), unsigned{_MM_ROUND_UP});
}

}  // namespace
}  // namespace velko
