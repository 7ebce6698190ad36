#include "tests/end_to_end/survey.h"
#include "tests/mpi/on_ranks.h"
#include "tests/mpi/survey_rows.h"

namespace velko::test {
namespace {

/// Both programs in one folder, one after the other.
class ForwardRunOnRanks : public ForwardRun {
 protected:
  void write_survey(const sensitivity_file& file, int rows, std::size_t cells) {
    write(file);
    folder_.write("loc", locations(rows));
    std::string model;
    for (std::size_t k = 1; k <= cells; ++k) model += std::to_string(1.0 / static_cast<double>(k)) + "\n";
    folder_.write("model.sus", model);
  }
  void expect_the_run_of_velkrund(int ranks, const std::vector<std::string>& arguments,
                                  const std::string& settings = "OMP_NUM_THREADS=1") {
    SCOPED_TRACE(std::to_string(ranks) + " ranks, " + settings);
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const program_run alone = velkrund(arguments, settings);
    const std::string result = folder_.read("velkrund.vlk");
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const program_run spread = run_on_ranks(folder_, ranks, VELKRUND_MPI, arguments, settings);
    EXPECT_EQ(spread.status, alone.status);
    EXPECT_EQ(spread.out, alone.out);
    EXPECT_EQ(spread.err, alone.err);
    EXPECT_EQ(folder_.read("velkrund.vlk"), result);
  }
  void expect_the_run_of_velkrund(int ranks) {
    expect_the_run_of_velkrund(ranks, {"velkosta.mtx", "loc", "model.sus"});
  }
};

TEST_F(ForwardRunOnRanks, CompressedMatrixGivesItsBytesForEveryNumberOfRanksAndThreads) {
  write_survey(many_rows(23), 23, 120);
  for (const int ranks : {1, 2, 3, 4, 7})
    expect_the_run_of_velkrund(ranks, {"velkosta.mtx", "loc", "model.sus"},
                               ranks % 2 == 0 ? "OMP_NUM_THREADS=2" : "OMP_NUM_THREADS=1");
}

TEST_F(ForwardRunOnRanks, DenseMatrixGivesItsBytesAndItsWarningOnce) {
  write_survey(many_dense_rows(11), 11, 120);
  for (const int ranks : {1, 2, 3, 7})
    expect_the_run_of_velkrund(ranks, {"velkosta.mtx", "loc", "model.sus"},
                               ranks == 3 ? "OMP_NUM_THREADS=2" : "OMP_NUM_THREADS=1");
}

TEST_F(ForwardRunOnRanks, MoreRanksThanRowsWork) {
  expect_the_run_of_velkrund(7);
}

TEST_F(ForwardRunOnRanks, RowsInSegmentsAreFound) {
  write_survey(many_rows(9).segments_of(200), 9, 120);
  expect_the_run_of_velkrund(3);
}

TEST_F(ForwardRunOnRanks, WrongArgumentsAreToldOnce) {
  expect_the_run_of_velkrund(3, {"velkosta.mtx", "loc"});
}

TEST_F(ForwardRunOnRanks, MissingFilesAreToldOnce) {
  expect_the_run_of_velkrund(3, {"no.mtx", "loc", "model.sus"});
  expect_the_run_of_velkrund(2, {"velkosta.mtx", "no.loc", "model.sus"});
  expect_the_run_of_velkrund(3, {"velkosta.mtx", "loc", "no.sus"});
}

TEST_F(ForwardRunOnRanks, AnotherNumberOfDataIsToldOnce) {
  folder_.write("loc", locations(4));
  expect_the_run_of_velkrund(3);
}

TEST_F(ForwardRunOnRanks, CutFileEndsAllRanks) {
  const std::size_t bytes = many_rows(5).bytes().size();
  for (const std::size_t left : {std::size_t{10}, std::size_t{900}, bytes - 2000, bytes - 5}) {
    write_survey(many_rows(5).cut_bytes(bytes - left), 5, 120);
    expect_the_run_of_velkrund(3);
  }
}

TEST_F(ForwardRunOnRanks, RowThatOverrunsTheCubeEndsAllRanksWithTheTextOfOne) {
  write(small_compressed().row({{1, 1}, {2, 1}, {3, 1}, {4, 1}, {1, 1}}));
  expect_the_run_of_velkrund(3);
}

TEST_F(ForwardRunOnRanks, PositionOutsideTheCubeEndsAllRanks) {
  write(small_compressed().row({{5, 1}}));
  folder_.write("loc", locations(4));
  expect_the_run_of_velkrund(4);
}

TEST_F(ForwardRunOnRanks, RanksThatSeeDifferentFilesRefuse) {
  std::filesystem::create_directory(folder_.path("other"));
  folder_.write("other/velkosta.mtx", small_compressed().wtz({1, 2, 3, 4}).bytes());
  folder_.write("run", "#!/bin/sh\n[ \"${OMPI_COMM_WORLD_RANK:-$PMI_RANK}\" = 1 ] && cd other\nexec " +
                           std::string(VELKRUND_MPI) + " velkosta.mtx ../loc ../model.sus\n");
  const program_run run = run_on_ranks(folder_, 3, "/bin/sh", {"run"});
  EXPECT_EQ(run.out, banner + "\nERROR: the ranks see different files: velkosta.mtx\n");
  EXPECT_FALSE(folder_.holds("velkrund.vlk"));
}

TEST_F(ForwardRunOnRanks, RanksWhoseFilesDifferInTheRowsAloneRefuse) {
  std::filesystem::create_directory(folder_.path("other"));
  folder_.write("other/velkosta.mtx", small_compressed().gdiag({1, 2, 3, 4}).bytes());
  folder_.write("run", "#!/bin/sh\n[ \"${OMPI_COMM_WORLD_RANK:-$PMI_RANK}\" = 1 ] && cd other\nexec " +
                           std::string(VELKRUND_MPI) + " velkosta.mtx ../loc ../model.sus\n");
  const program_run run = run_on_ranks(folder_, 2, "/bin/sh", {"run"});
  EXPECT_EQ(run.out, banner + "\nERROR: the ranks see different files: velkosta.mtx\n");
}

}  // namespace
}  // namespace velko::test
