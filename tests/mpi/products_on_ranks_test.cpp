#include <gmock/gmock.h>

#include "tests/mpi/on_ranks.h"
#include "tests/mpi/survey_rows.h"

namespace velko::test {
namespace {

class ProductsOnRanks : public testing::Test {
 protected:
  void expect_the_bits_of_one_process(int ranks, const sensitivity_file& file,
                                      const std::string& message_bytes, const std::string& settings) {
    SCOPED_TRACE(std::to_string(ranks) + " ranks, " + settings);
    folder_.write("G.mtx", file.bytes());
    const program_run run =
        run_on_ranks(folder_, ranks, PRODUCTS_ON_RANKS, {"G.mtx", message_bytes}, settings);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.status, 0);
  }
  temporary_folder folder_;
};

TEST_F(ProductsOnRanks, OfACompressedMatrixHaveTheBitsOfOneProcess) {
  for (const int ranks : {1, 2, 3, 4, 7})
    expect_the_bits_of_one_process(ranks, many_rows(23), ranks == 3 ? "64" : "1073741824",
                                   ranks % 2 == 0 ? "OMP_NUM_THREADS=2" : "OMP_NUM_THREADS=1");
}

TEST_F(ProductsOnRanks, OfADenseMatrixHaveTheBitsOfOneProcess) {
  for (const int ranks : {1, 3, 4})
    expect_the_bits_of_one_process(ranks, many_dense_rows(11), ranks == 4 ? "128" : "1073741824",
                                   ranks == 3 ? "OMP_NUM_THREADS=2" : "OMP_NUM_THREADS=1");
}

TEST_F(ProductsOnRanks, OfRowsThatDoNotAscendHaveTheBitsOfOneProcess) {
  expect_the_bits_of_one_process(3, many_rows(12).row({{9, 1.5F}, {3, 2}, {200, -1}, {3, 0.25F}}),
                                 "1073741824", "OMP_NUM_THREADS=2");
}

TEST_F(ProductsOnRanks, OfFewerRowsThanRanksHaveTheBitsOfOneProcess) {
  expect_the_bits_of_one_process(4, many_rows(2), "1073741824", "OMP_NUM_THREADS=1");
}

TEST_F(ProductsOnRanks, EndOnAllRanksWhereOneIsRefusedMemory) {
  for (const sensitivity_file& file : {many_rows(9), many_dense_rows(5)}) {
    folder_.write("G.mtx", file.bytes());
    const program_run run = run_on_ranks(folder_, 2, REFUSED_MEMORY_ON_RANKS, {"G.mtx"});
    EXPECT_THAT(run.out, testing::MatchesRegex("[0-9]+ refusals, [0-9]+ ends\n"));
    EXPECT_EQ(run.status, 0) << run.out << run.err;
  }
}

TEST(MessagesOnRanks, LongerThanTheLargestMessageComeWhole) {
  const temporary_folder folder;
  for (const std::string bytes : {"8", "64", "1073741824"}) {
    const program_run run = run_on_ranks(folder, 3, MESSAGES_ON_RANKS, {bytes});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.status, 0) << bytes;
  }
}

}  // namespace
}  // namespace velko::test
