#include <sys/stat.h>

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
  void expect_the_run_of_velkrund_for_all_ranks_and_threads() {
    for (const int ranks : {1, 2, 3, 4, 7})
      for (const std::string threads : {"1", "2"})
        expect_the_run_of_velkrund(ranks, {"velkosta.mtx", "loc", "model.sus"}, "OMP_NUM_THREADS=" + threads);
  }
};

TEST_F(ForwardRunOnRanks, CompressedMatrixGivesItsBytesForEveryNumberOfRanksAndThreads) {
  write_survey(many_rows(23), 23, 120);
  expect_the_run_of_velkrund_for_all_ranks_and_threads();
}

TEST_F(ForwardRunOnRanks, DenseMatrixGivesItsBytesAndItsWarningOnce) {
  write_survey(many_dense_rows(11), 11, 120);
  expect_the_run_of_velkrund_for_all_ranks_and_threads();
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

TEST_F(ForwardRunOnRanks, FileWithoutRowsWorks) {
  write(sensitivity_file(1, 2, 2).haar());
  folder_.write("loc", locations(0));
  expect_the_run_of_velkrund(3);
}

/// Some ranks have another working directory, or less of something, than the others.
class RanksThatDiffer : public ForwardRunOnRanks {
 protected:
  RanksThatDiffer() { std::filesystem::create_directory(folder_.path("other")); }
  program_run run(int ranks, const std::string& first) {
    return run_on_ranks_behind(first, folder_, ranks, VELKRUND_MPI, {"velkosta.mtx", "loc", "model.sus"});
  }
  void expect_failure_of_all(const program_run& run, const std::string& on_console) {
    expect_failure(run, on_console, run.err);  // mpiexec may have words of its own
    EXPECT_FALSE(folder_.holds("other/velkrund.vlk"));
  }
  static inline const std::string rank_one_elsewhere = "[ $rank = 1 ] && cd other",
                                  all_but_the_first_elsewhere = "[ $rank = 0 ] || cd other";
};

TEST_F(RanksThatDiffer, InTheHeadOfTheirFileRefuse) {
  folder_.write("other/velkosta.mtx", small_compressed().wtz({1, 2, 3, 4}).bytes());
  expect_failure_of_all(run(3, rank_one_elsewhere), "\nERROR: the ranks see different files: velkosta.mtx\n");
}

TEST_F(RanksThatDiffer, InTheDiagonalOfTheirFileRefuse) {
  folder_.write("other/velkosta.mtx", small_compressed().gdiag({1, 2, 3, 4}).bytes());
  expect_failure_of_all(run(2, rank_one_elsewhere), "\nERROR: the ranks see different files: velkosta.mtx\n");
}

TEST_F(RanksThatDiffer, InTheLengthsOfTheirRowsRefuse) {
  folder_.write(
      "other/velkosta.mtx",
      sensitivity_file(1, 2, 2).haar().row({}).row({{1, 1.0F}}).row({{2, 0.5F}, {4, -2.0F}}).bytes());
  expect_failure_of_all(run(3, rank_one_elsewhere), "\nERROR reading sensitivity file velkosta.mtx\n");
}

TEST_F(RanksThatDiffer, InThatOneHasNoFileEndWithItsReportOnce) {
  expect_failure_of_all(run(3, rank_one_elsewhere), "\n ERROR: sensitivity file not found: velkosta.mtx\n");
}

#if !defined(VELKO_SANITIZED)
TEST_F(RanksThatDiffer, InThatOneHasLessMemoryEndWithItsReportOnce) {
  write(sensitivity_file(1, 2, 2).haar().cube(512, 512, 512).row({}).row({}).row({}));
  expect_failure_of_all(run(3, "[ $rank = 2 ] && ulimit -v 900000"),
                        "\nMemory allocation error in: getpar\n\n");
}
#endif

TEST_F(RanksThatDiffer, InThatTheFirstAloneSeesTheTextFilesWork) {
  velkrund();
  const std::string result = folder_.read("velkrund.vlk");
  std::filesystem::remove(folder_.path("velkrund.vlk"));
  std::filesystem::copy(folder_.path("velkosta.mtx"), folder_.path("other/velkosta.mtx"));
  EXPECT_EQ(run(3, all_but_the_first_elsewhere).out, banner);
  EXPECT_EQ(folder_.read("velkrund.vlk"), result);
  EXPECT_FALSE(folder_.holds("other/velkrund.vlk"));
}

TEST_F(ForwardRunOnRanks, PipeIsRefused) {
  std::filesystem::remove(folder_.path("velkosta.mtx"));
  ASSERT_EQ(mkfifo(folder_.path("velkosta.mtx").c_str(), 0600), 0);
  const program_run run = run_on_ranks(folder_, 2, VELKRUND_MPI, {"velkosta.mtx", "loc", "model.sus"});
  expect_failure(run, "\nERROR reading sensitivity file velkosta.mtx\n");
}

}  // namespace
}  // namespace velko::test
