#include "builder/rows_in_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velko {
namespace {

using testing::Each;

std::vector<i4> counted_to(i4 rows) {
  std::vector<i4> all(static_cast<std::size_t>(rows));
  std::iota(all.begin(), all.end(), 0);
  return all;
}

/// Later rows are quicker, so that they come out of order without care.
void take_time(i4 row) {
  std::this_thread::sleep_for(std::chrono::microseconds(row % 4 == 0 ? 300 : 10));
}

TEST(RowsInOrder, EveryStageTakesTheRowsOneByOneInTheirOrder) {
  for (const int threads : {1, 2, 5}) {
    constexpr i4 rows = 60, stages = 3;
    std::array<std::vector<i4>, stages> taken;
    std::array<std::atomic<int>, stages> inside{};
    rows_in_order(
        rows, threads, stages, [](i4 row, int) { take_time(row); },
        [&](i4 stage, i4 row, int) {
          const auto s = static_cast<std::size_t>(stage);
          EXPECT_EQ(++inside[s], 1);
          taken[s].push_back(row);
          --inside[s];
        });
    EXPECT_THAT(taken, Each(counted_to(rows))) << threads;
  }
}

TEST(RowsInOrder, RowsGoThroughTheStagesOnTheThreadThatMadeThem) {
  std::vector<int> maker(40, -1);
  rows_in_order(
      40, 4, 2, [&](i4 row, int thread) { maker[static_cast<std::size_t>(row)] = thread; },
      [&](i4, i4 row, int thread) { EXPECT_EQ(maker[static_cast<std::size_t>(row)], thread); });
}

TEST(RowsInOrder, NoRowsCallNothing) {
  rows_in_order(
      0, 3, 2, [](i4, int) { FAIL(); }, [](i4, i4, int) { FAIL(); });
}

/// Whichever thread meets its failure first, the one that is told is that of the first row.
TEST(RowsInOrder, FirstFailureInTheOrderOfTheRowsComesOut) {
  for (int n = 0; n < 20; ++n) {
    std::vector<i4> passed;
    const auto fail = [](i4 row, int) {
      take_time(row);
      if (row == 8 || row == 9 || row == 11) throw std::runtime_error(std::to_string(row));
    };
    try {
      rows_in_order(40, 4, 1, fail, [&](i4, i4 row, int) { passed.push_back(row); });
      ADD_FAILURE();
    } catch (const std::runtime_error& failure) {
      EXPECT_STREQ(failure.what(), "8");
    }
    EXPECT_EQ(passed, counted_to(8));
  }
}

TEST(RowsInOrder, FailureInAStageEndsAll) {
  std::vector<i4> passed;
  const auto pass = [&](i4 stage, i4 row, int) {
    if (stage == 1 && row == 5) throw std::runtime_error("full");
    if (stage == 1) passed.push_back(row);
  };
  EXPECT_THROW(rows_in_order(
                   50, 3, 2, [](i4 row, int) { take_time(row); }, pass),
               std::runtime_error);
  EXPECT_EQ(passed, counted_to(5));
}

}  // namespace
}  // namespace velko
