#include <gmock/gmock.h>

#include "tests/mpi/on_ranks.h"

namespace velko::test {
namespace {

class MatrixMadeOnRanks : public testing::Test {
 protected:
  MatrixMadeOnRanks() {
    folder_.write("mesh", "4 5 3\n0 0 80\n4*20\n5*15\n3*10\n");
    folder_.write("topo", "5\n-10 -10 70\n-10 110 85\n130 -10 60\n130 110 75\n40 30 95\n");
    folder_.write("loc", survey(50));
  }
  static std::string survey(int rows) {
    std::string text = "62 -4 52000\n62 -4 1\n" + std::to_string(rows) + "\n";
    for (int n = 0; n < rows; ++n)
      text += std::to_string(n * 7 % 80) + " " + std::to_string(n % 71) + " " + std::to_string(110 + n % 7) +
              "\n";
    return text;
  }
  std::vector<std::string> names_in_folder() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      names.push_back(entry.path().filename());
    return names;
  }
  temporary_folder folder_;
};

TEST_F(MatrixMadeOnRanks, HasTheBytesOfOneProcess) {
  for (const std::string form : {"--tolerance=0.01", "--dense"}) {
    ASSERT_EQ(run_program(folder_, VELKMTX, {"make", "mesh", "topo", "loc", "alone", "--quiet", form}).status,
              0);
    for (const int ranks : {1, 3, 4}) {
      const program_run run =
          run_on_ranks(folder_, ranks, VELKMTX_MPI, {"make", "mesh", "topo", "loc", "spread", form});
      EXPECT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(run.err, "");
      EXPECT_THAT(run.out, testing::HasSubstr("spread: 50 "));
      EXPECT_TRUE(folder_.read("spread") == folder_.read("alone")) << ranks << " ranks " << form;
    }
  }
  EXPECT_THAT(names_in_folder(), testing::UnorderedElementsAre("mesh", "topo", "loc", "alone", "spread"));
}

TEST_F(MatrixMadeOnRanks, MoreRanksThanRowsWork) {
  folder_.write("loc", survey(2));
  ASSERT_EQ(
      run_program(folder_, VELKMTX, {"make", "mesh", "topo", "loc", "alone", "--quiet", "--dense"}).status,
      0);
  run_on_ranks(folder_, 3, VELKMTX_MPI, {"make", "mesh", "topo", "loc", "spread", "--dense"});
  EXPECT_TRUE(folder_.read("spread") == folder_.read("alone"));
}

TEST_F(MatrixMadeOnRanks, ErrorIsToldOnceAndLeavesNothing) {
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"make", "no_mesh", "topo", "loc", "spread"},
        {"make", "mesh", "topo", "no_loc", "spread"},
        {"make", "mesh", "topo", "loc", "spread", "--wavelet", "d5"}}) {
    const program_run alone = run_program(folder_, VELKMTX, wrong);
    const program_run run = run_on_ranks(folder_, 3, VELKMTX_MPI, wrong);
    EXPECT_EQ(run.status, alone.status);
    const std::size_t first = run.err.find(alone.err);
    EXPECT_NE(first, run.err.npos) << run.err;
    EXPECT_EQ(run.err.find(alone.err, first + 1), run.err.npos) << run.err;  // mpirun adds its own words
    EXPECT_THAT(names_in_folder(), testing::UnorderedElementsAre("mesh", "topo", "loc"));
  }
}

TEST_F(MatrixMadeOnRanks, CommandLineWithoutItsFilesIsRefused) {
  const program_run run = run_on_ranks(folder_, 2, VELKMTX_MPI, {"make", "--dense", "mesh", "topo", "loc"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err,
              testing::HasSubstr("velkmtx-mpi: use velkmtx-mpi make MESH TOPOGRAPHY LOCATIONS OUTPUT"));
}

}  // namespace
}  // namespace velko::test
