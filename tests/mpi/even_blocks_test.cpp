#include <gmock/gmock.h>

#include "mpi/spread_matrix.h"

namespace velko::test {
namespace {

using testing::ElementsAre;

TEST(EvenBlocks, TakeWholeItemsAndAboutAsManyBytesEach) {
  const std::vector<i8> begin{100, 110, 120, 130, 140, 150, 160};
  EXPECT_THAT(even_blocks(begin, 1), ElementsAre(0, 6));
  EXPECT_THAT(even_blocks(begin, 2), ElementsAre(0, 3, 6));
  EXPECT_THAT(even_blocks(begin, 4), ElementsAre(0, 2, 3, 5, 6));
}

TEST(EvenBlocks, ItemThatIsLongerThanAShareHasABlockToItself) {
  EXPECT_THAT(even_blocks(std::vector<i8>{0, 1, 1001, 1002}, 3), ElementsAre(0, 1, 2, 3));
}

TEST(EvenBlocks, MoreBlocksThanItemsLeaveSomeEmpty) {
  const std::vector<i8> blocks = even_blocks(std::vector<i8>{0, 10, 20}, 5);
  EXPECT_EQ(blocks.size(), 6U);
  EXPECT_TRUE(std::is_sorted(blocks.begin(), blocks.end()));
  EXPECT_EQ(blocks.front(), 0);
  EXPECT_EQ(blocks.back(), 2);
}

TEST(EvenBlocks, NoItemsGiveEmptyBlocks) {
  EXPECT_THAT(even_blocks(std::vector<i8>{77}, 3), ElementsAre(0, 0, 0, 0));
}

TEST(EvenBlocks, HoldForTerabytesOnThousandsOfRanks) {
  std::vector<i8> begin;
  for (i8 item = 0; item <= 4096; ++item) begin.push_back(item << 40);
  const std::vector<i8> blocks = even_blocks(begin, 4096);
  for (std::size_t r = 0; r <= 4096; ++r) ASSERT_EQ(blocks[r], static_cast<i8>(r));
}

}  // namespace
}  // namespace velko::test
