/// velkmtx as its user meets it: command line, exit status, streams, the bytes of its file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "store/getpar.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr auto small_mesh =
    "5 3 9\n"
    "100.0 -50.0 12.5\n"
    "30 20 20 20 35\n"
    "25 25 40\n"
    "10 10 10 12 14 16 20 25 30\n";
constexpr auto small_survey =
    "62.0 -4.0 52000.0\n"
    "62.0 -4.0 1\n"
    "5\n"
    "110 -40 40\n"
    "150.5 0 35\n"
    "160 10 60\n"
    "300 -20 -30\n"
    "100 -50 50\n";
constexpr auto survey_above_the_mesh =
    "62.0 -4.0 52000.0\n"
    "62.0 -4.0 1\n"
    "5\n"
    "110 -40 40\n"
    "150.5 0 35\n"
    "160 10 60\n"
    "220 -20 30\n"
    "100 -50 50\n";
constexpr auto survey_of_own_directions =
    "62.0 -4.0 52000.0\n"
    "0 0 0\n"
    "3\n"
    "110 -40 40 62 -4\n"
    "150.5 0 35 -90 0\n"
    "160 10 60 0 90\n";

struct outcome {
  int status;
  std::string out, err;
};

class Velkmtx : public testing::Test {
 protected:
  Velkmtx() {
    folder.write("mesh", small_mesh);
    folder.write("loc", small_survey);
  }

  outcome run(const std::string& arguments, const std::string& before = "") const {
    const std::string command =
        "cd " + folder.path() + " && { " + before + " " VELKMTX " " + arguments + "; } > out 2> err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("out"), folder.read("err")};
  }

  /// The run fails with the words on the standard error stream alone and leaves no file.
  void expect_failure(const std::string& arguments, const std::string& words) const {
    const outcome end = run(arguments);
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.out, IsEmpty());
    EXPECT_THAT(end.err, HasSubstr(words));
    expect_only_inputs();
  }
  void expect_refused_mesh(const std::string& mesh_text, const std::string& words) const {
    folder.write("mesh", mesh_text);
    expect_failure("make mesh null loc g.mtx", words);
  }
  void expect_refused_datum(const std::string& position, const std::string& words) const {
    folder.write("loc", "62 -4 52000\n62 -4 1\n2\n110 -40 40\n" + position + "\n");
    expect_failure("make mesh null loc g.mtx", words);
  }
  void expect_only_inputs() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      EXPECT_THAT(entry.path().filename().string(), testing::AnyOf("mesh", "loc", "out", "err"));
  }

  void judge(const std::string& arguments) const {
    const std::string command =
        "cd " + folder.path() + " && /usr/bin/python3 " JUDGE_SENSITIVITY " " + arguments + " > out 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << folder.read("out");
  }

  test::temporary_folder folder;
};

TEST_F(Velkmtx, HelpShowsAnExampleAndSucceeds) {
  const outcome end = run("make --help");
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.out, HasSubstr("velkmtx make survey.mesh terrain.topo survey.loc survey.mtx\n"));
  EXPECT_THAT(end.err, IsEmpty());
}

TEST_F(Velkmtx, HelpHasTheUsageLineAndEveryDefault) {
  const std::string help = run("make --help").out;
  EXPECT_THAT(help, HasSubstr("\nUsage: velkmtx make [OPTIONS] MESH TOPOGRAPHY LOCATIONS OUTPUT\n"));
  EXPECT_THAT(help, HasSubstr("--wavelet NAME "));
  EXPECT_THAT(help, HasSubstr("s8, s10, s12; default d4\n"));
  EXPECT_THAT(help, HasSubstr("default volume where the mesh is padded, else none\n"));
  EXPECT_THAT(help, HasSubstr("w = ((z + z0) / (zmin + z0))^(-beta / 2)"));
  EXPECT_THAT(help, HasSubstr("--tolerance NUMBER "));
  EXPECT_THAT(help, HasSubstr("--accuracy NUMBER "));
  EXPECT_THAT(help, HasSubstr("default 0.1\n"));
  EXPECT_THAT(help, HasSubstr("--threads NUMBER "));
  EXPECT_THAT(help, HasSubstr("default OMP_NUM_THREADS, or else all processors\n"));
  EXPECT_THAT(help, testing::Not(testing::ContainsRegex("TEXT|INT|FLOAT|Excludes|REQUIRED")));
}

TEST_F(Velkmtx, VersionSucceeds) {
  EXPECT_EQ(run("--version").status, 0);
  EXPECT_EQ(run("--version").out, "velkmtx, VELKO 5.0\n");
}

TEST_F(Velkmtx, CommandLineErrorsGoToTheErrorStreamWithAStatus) {
  for (const char* wrong : {"make",
                            "make mesh",
                            "make mesh null",
                            "make mesh null loc",
                            "make mesh null loc g.mtx --beta 2",
                            "make mesh null loc g.mtx --z0 1",
                            "make mesh null loc g.mtx --weights depth --beta 11",
                            "make mesh null loc g.mtx --weights depth --z0 -1",
                            "make mesh null loc g.mtx --weights deep",
                            "make mesh null loc g.mtx --wavelet 4",
                            "make mesh null loc g.mtx more",
                            "make mesh null loc g.mtx --wavelet d3",
                            "make mesh null loc g.mtx --wavelet d14",
                            "make mesh null loc g.mtx --tolerance -1",
                            "make mesh null loc g.mtx --tolerance 1.5",
                            "make mesh null loc g.mtx --tolerance x",
                            "make mesh null loc g.mtx --tolerance nan",
                            "make mesh null loc g.mtx --tolerance inf",
                            "make mesh null loc g.mtx --accuracy 0",
                            "make mesh null loc g.mtx --accuracy -1",
                            "make mesh null loc g.mtx --accuracy x",
                            "make mesh null loc g.mtx --accuracy 1 --largest 0",
                            "make mesh null loc g.mtx --accuracy 1 --tolerance 0.1",
                            "make mesh null loc g.mtx --accuracy 1 --dense",
                            "make mesh null loc g.mtx --verify 0",
                            "make mesh null loc g.mtx --dense --wavelet d4",
                            "make mesh null loc g.mtx --dense --tolerance 0.1",
                            "make mesh null loc g.mtx --threads 0",
                            "make mesh null loc g.mtx --unknown"}) {
    const outcome end = run(wrong);
    EXPECT_EQ(end.status, 2) << wrong;
    EXPECT_THAT(end.out, IsEmpty()) << wrong;
    EXPECT_THAT(end.err, AllOf(StartsWith("velkmtx make: "), EndsWith("; see velkmtx make --help\n")))
        << wrong;
    EXPECT_EQ(std::count(end.err.begin(), end.err.end(), '\n'), 1) << wrong;
    expect_only_inputs();
  }
}

TEST_F(Velkmtx, SubcommandThatIsMissingOrUnknownIsToldInALine) {
  EXPECT_EQ(run("").err, "velkmtx: A subcommand is required; see velkmtx --help\n");
  EXPECT_EQ(run("").status, 2);
  EXPECT_EQ(run("frob").err, "velkmtx: no subcommand is called frob; see velkmtx --help\n");
  EXPECT_EQ(run("frob").status, 2);
}

TEST_F(Velkmtx, OptionThatIsRefusedIsToldWithWhatItTakes) {
  const auto first_line = [&](const std::string& options) {
    const std::string err = run("make mesh null loc g.mtx " + options).err;
    return err.substr(0, err.find('\n'));
  };
  EXPECT_EQ(
      first_line("--wavelet d14"),
      "velkmtx make: --wavelet: 'd14' is not one of haar, d4, d6, d8, d10, d12, s8, s10, s12; see velkmtx "
      "make --help");
  EXPECT_EQ(
      first_line("--weights deep"),
      "velkmtx make: --weights: 'deep' is not none, depth, volume or depth-volume; see velkmtx make --help");
  EXPECT_EQ(first_line("--tolerance abc"),
            "velkmtx make: --tolerance: 'abc' is not a number from 0 to 1; see velkmtx make --help");
  EXPECT_EQ(first_line("--tolerance nan"),
            "velkmtx make: --tolerance: 'nan' is not a number from 0 to 1; see velkmtx make --help");
  EXPECT_EQ(first_line("--threads 1025"),
            "velkmtx make: --threads: '1025' is not a whole number from 1 to 1024; see velkmtx make --help");
}

TEST_F(Velkmtx, OptionsTakeTheEndsOfTheirRanges) {
  for (const char* options :
       {"--tolerance 0", "--tolerance 1", "--threads 1", "--wavelet haar", "--wavelet d12"})
    EXPECT_EQ(run(std::string("make mesh null loc g.mtx ") + options).status, 0) << options;
}

TEST_F(Velkmtx, SummaryTellsSizesAndWhatWasKept) {
  folder.write("loc", survey_above_the_mesh);
  const outcome dense = run("make mesh null loc g.mtx --dense --threads 1");
  EXPECT_EQ(dense.status, 0);
  EXPECT_THAT(dense.out, testing::MatchesRegex("g.mtx: 5 data x 135 cells, 5.7 kB\n"
                                               "[0-9.]+ s, [0-9.]+ rows a second on 1 thread\n"));
  EXPECT_THAT(dense.err, IsEmpty());
  const outcome compressed = run("make mesh null loc g.mtx --tolerance 1e-3");
  EXPECT_THAT(
      compressed.out,
      testing::MatchesRegex(
          "g.mtx: 5 data x 135 cells, [0-9.]+ kB, where a dense G has 2.7 kB\n"
          "wavelet d4, weights volume, tolerance 0.001: [0-9]+ to [0-9]+ coefficients in a row, median "
          "[0-9]+, [0-9.]+ % of "
          "the cube of 4 x 8 x 16\n"
          "compression ratio [0-9.]+\n"
          "relative error of a row [0-9.]+e-04 \\(at most [0-9.]+e-04\\); no datum is off by more than "
          "[0-9.e-]+ nT for models up to 0.1\n"
          "errors of the data of trial models, judged by 5 rows: uniform ground [0-9.e-]+ %, .*smooth ground "
          "[0-9.e-]+ %\n"
          "a row takes 2.[0-9] kB, a dense one 0.5 kB: --dense would be smaller, and lose nothing\n"
          "[0-9.]+ s, [0-9.]+ rows a second on [0-9]+ threads?\n"));
}

TEST_F(Velkmtx, SummaryTellsLargeSizesInMegabytes) {
  folder.write("mesh", "32 32 32\n0 0 0\n32*10\n32*10\n32*10\n");
  const i8 rows = 5 * 4 * 32768, weights_and_diagonal = 2 * 8 * 32768;
  ASSERT_EQ((rows + weights_and_diagonal) / 100000, 11);
  EXPECT_THAT(run("make mesh null loc g.mtx --dense").out,
              StartsWith("g.mtx: 5 data x 32768 cells, 1.2 MB\n"));
}

TEST_F(Velkmtx, QuietRunSaysNothing) {
  folder.write("loc", survey_above_the_mesh);
  const outcome end = run("make mesh null loc g.mtx --quiet");
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.out, IsEmpty());
  EXPECT_THAT(end.err, IsEmpty());
  EXPECT_TRUE(folder.holds("g.mtx"));
}

TEST_F(Velkmtx, ReadersReportOnTheErrorStream) {
  expect_failure("make none null loc g.mtx", "velkmtx: ERROR: mesh file not found: none\n");
  expect_failure("make mesh null none g.mtx", "velkmtx: ERROR: data file not found: none\n");
  folder.write("mesh", "5 3 9\n0 0 0\n1 2 x\n");
  expect_failure(
      "make mesh null loc g.mtx",
      "velkmtx: ERROR reading mesh file: mesh: line 3, column 5: 'x' where width 3 along x is wanted\n");
}

TEST_F(Velkmtx, OutputThatCannotBeWrittenFails) {
  expect_failure("make mesh null loc missing/g.mtx",
                 "velkmtx: cannot write missing/g.mtx: No such file or directory");
  expect_failure("make mesh null loc /dev/null", "velkmtx: cannot write /dev/null: not a regular file\n");
}

/// A limit on the size of files stands for a full disk.
TEST_F(Velkmtx, OutputThatIsCutShortFailsAndLeavesNothing) {
  const outcome end = run("make mesh null loc g.mtx --dense", "trap '' XFSZ; ulimit -f 4;");
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.err, HasSubstr("velkmtx: cannot write g.mtx: File too large"));
  expect_only_inputs();
}

/// The file stands, and a script that looks at the status alone goes on with it.
TEST_F(Velkmtx, SummaryThatCannotBePrintedIsToldAndNoFailure) {
  folder.write("loc", survey_above_the_mesh);
  for (const std::string made :
       {"make mesh null loc g", "mesh g --cell 50 --locations loc", "model mesh g --body 'background 3'"}) {
    const outcome end = run(made + " >/dev/full");
    EXPECT_EQ(end.status, 0) << made;
    EXPECT_EQ(end.err,
              "velkmtx: g is written, but cannot write to the standard output: No space left on device\n");
    EXPECT_FALSE(folder.read("g").empty());
    std::filesystem::remove(folder.path("g"));
  }
}

TEST_F(Velkmtx, ResultThatCannotBePrintedIsAFailure) {
  run("make mesh null loc g.mtx --quiet");
  for (const std::string asked : {"info g.mtx", "check g.mtx"}) {
    const outcome end = run(asked + " >/dev/full");
    EXPECT_EQ(end.status, 1) << asked;
    EXPECT_EQ(end.err, "velkmtx: cannot write to the standard output: No space left on device\n");
  }
}

TEST_F(Velkmtx, NoEnvironmentOfTheRunTimeEndsItByASignal) {
  run("make mesh null loc g.mtx --quiet");
  const std::string expected = folder.read("g.mtx");
  for (const std::string setting :
       {"OMP_NUM_THREADS=", "OMP_NUM_THREADS=abc", "OMP_NUM_THREADS=-1", "OMP_NUM_THREADS=0x10",
        "OMP_NUM_THREADS=1e3", "OMP_NUM_THREADS=40000", "OMP_STACKSIZE=1000000G", "KMP_STACKOFFSET=1000000G",
        "KMP_AFFINITY=9999999999norespect", "OMP_DISPLAY_AFFINITY=true KMP_AFFINITY=disabled"}) {
    std::filesystem::remove(folder.path("g.mtx"));
    // What the run-time keeps of its settings is no leak of ours.
    const outcome end =
        run("make mesh null loc g.mtx --quiet", "env ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0 " + setting);
    EXPECT_EQ(end.status, 0) << setting << end.err;
    EXPECT_EQ(end.out, "") << setting;
    EXPECT_EQ(folder.read("g.mtx"), expected) << setting;
  }
}

TEST_F(Velkmtx, InputIsNotOverwritten) {
  expect_failure("make mesh null loc ./mesh",
                 "velkmtx: ./mesh is an input; the output should be another file\n");
  expect_failure("make mesh null loc loc", "velkmtx: loc is an input; the output should be another file\n");
  EXPECT_EQ(folder.read("mesh"), small_mesh);
}

TEST_F(Velkmtx, FailureLeavesTheFileOfAnEarlierRun) {
  folder.write("g.mtx", "earlier");
  EXPECT_EQ(run("make none null loc g.mtx").status, 1);
  EXPECT_EQ(folder.read("g.mtx"), "earlier");
  EXPECT_EQ(run("make mesh null loc g.mtx").status, 0);
  EXPECT_NE(folder.read("g.mtx"), "earlier");
}

TEST_F(Velkmtx, RefusesCountsBelowOne) {
  expect_refused_mesh("0 3 9\n0 0 0\n\n1 1 1\n9*1\n",
                      "velkmtx: the mesh has 0 x 3 x 9 cells; each count should be at "
                      "least 1\n");
  expect_refused_mesh("1 1 -2\n0 0 0\n1\n1\n\n", "velkmtx: the mesh has 1 x 1 x -2 cells");
}

TEST_F(Velkmtx, RefusesMoreCellsThan32BitsCount) {
  expect_refused_mesh("2000 2000 2000\n0 0 0\n2000*1\n2000*1\n2000*1\n",
                      "velkmtx: the mesh has 2000 x 2000 x 2000 cells, more than 32 bits can count\n");
}

TEST_F(Velkmtx, RefusesACubeThatIsLargerThan32BitsCount) {
  expect_refused_mesh(
      "1100 1100 1100\n0 0 0\n1100*1\n1100*1\n1100*1\n",
      "velkmtx: the cube of powers of two around 1100 x 1100 x 1100 cells has more elements than 32 "
      "bits can count\n");
}

TEST_F(Velkmtx, RefusesWidthsThatAreNotPositive) {
  expect_refused_mesh("2 1 1\n0 0 0\n1 0\n1\n1\n", "velkmtx: width 2 along x is 0; it should be positive\n");
  expect_refused_mesh("1 2 1\n0 0 0\n1\n-1.5 1\n1\n",
                      "velkmtx: width 1 along y is -1.5; it should be positive\n");
  expect_refused_mesh("1 1 1\n0 0 0\n1\n1\nnan\n",
                      "velkmtx: width 1 along z is nan; it should be positive\n");
}

TEST_F(Velkmtx, RefusesACellThatVanishesInTheRoundingOfItsEdges) {
  expect_refused_mesh("1 1 1\n1e20 0 0\n1\n1\n1\n",
                      "velkmtx: cell 1 along x vanishes between its edges 1e+20 and 1e+20\n");
  expect_refused_mesh("1 1 1\n0 0 0\n1\n1\ninf\n",
                      "velkmtx: cell 1 along z vanishes between its edges 0 and inf\n");
}

TEST_F(Velkmtx, RefusesNumbersThatAreNotFinite) {
  expect_refused_datum("1 2 nan", "velkmtx: datum 2 has the position (1, 2, nan), which is not finite\n");
  folder.write("loc", "62 -4 inf\n62 -4 1\n1\n0 0 100\n");
  expect_failure("make mesh null loc g.mtx",
                 "velkmtx: the header of the location file holds inf, which is not finite\n");
  folder.write("loc", "62 -4 5\n62 -4 0\n1\n0 0 100 nan 0\n");
  expect_failure("make mesh null loc g.mtx",
                 "velkmtx: datum 1 has the direction (nan, 0), which is not finite\n");
}

TEST_F(Velkmtx, RefusesResponsesBeyond32BitFloats) {
  folder.write("loc", "62 -4 1e45\n62 -4 1\n1\n130 -25 20\n");
  expect_failure("make mesh null loc g.mtx",
                 "velkmtx: datum 1: a value of G is too large for a 32-bit float\n");
  expect_failure("make mesh null loc g.mtx --dense",
                 "velkmtx: datum 1: a value of G is too large for a 32-bit float\n");
}

TEST_F(Velkmtx, FieldOfZeroGivesRowsWithoutCoefficients) {
  folder.write("loc", "62 -4 0\n62 -4 1\n1\n130 -25 20\n");
  EXPECT_THAT(run("make mesh null loc g.mtx").out, HasSubstr(": 0 to 0 coefficients in a row"));
}

/// SciPy reads every record; the judge computes the rows by quadrature and the transform by matrices.
TEST_F(Velkmtx, BothFormsHoldWhatAnIndependentJudgeComputes) {
  ASSERT_EQ(run("make mesh null loc dense.mtx --dense").status, 0);
  std::string judged;
  for (const std::string wavelet : {"haar", "d4", "d6", "d8", "d10", "d12", "s8", "s10", "s12"})
    for (const std::string tolerance : {"0", "1e-3", "0.05"}) {
      const std::string name = wavelet + "_" + tolerance;
      ASSERT_EQ(
          run("make mesh null loc " + name + " --wavelet " + wavelet + " --tolerance " + tolerance).status,
          0);
      judged += " " + name + " " + wavelet + " " + tolerance;
    }
  judge("mesh loc dense.mtx" + judged);
}

TEST_F(Velkmtx, DirectionsOfEachDatumCount) {
  folder.write("loc", survey_of_own_directions);
  ASSERT_EQ(run("make mesh null loc dense.mtx --dense").status, 0);
  ASSERT_EQ(run("make mesh null loc compressed.mtx --wavelet d4 --tolerance 1e-3").status, 0);
  judge("mesh loc dense.mtx compressed.mtx d4 1e-3");
}

TEST_F(Velkmtx, DefaultsAreFourCoefficientsVolumeWeightsOnAPaddedMeshAndTheToleranceThatItTells) {
  const std::string told = run("make mesh null loc default.mtx").out;
  const auto word_behind = [&](const std::string& words) {
    const std::string rest = told.substr(told.find(words) + words.size());
    return rest.substr(0, rest.find_first_of(",:"));
  };
  EXPECT_THAT(told, HasSubstr(", for trial models within 1 %: "));
  ASSERT_EQ(run("make mesh null loc named.mtx --wavelet d4 --weights volume --tolerance " +
                word_behind("tolerance "))
                .status,
            0);
  EXPECT_EQ(folder.read("default.mtx"), folder.read("named.mtx"));
}

TEST_F(Velkmtx, ThreadCountDoesNotChangeAByte) {
  std::string survey = "62 -4 52000\n62 -4 1\n97\n";
  for (int n = 0; n < 97; ++n)
    survey += std::to_string(90 + 1.7 * n) + " " + std::to_string(n - 60) + " 20\n";
  folder.write("loc", survey);
  for (const std::string form : {"--dense", "--wavelet d6"}) {
    ASSERT_EQ(run("make mesh null loc one.mtx --threads 1 " + form).status, 0);
    for (const std::string threads : {"2", "3", "7"}) {
      ASSERT_EQ(run("make mesh null loc many.mtx " + form + " --threads " + threads).status, 0);
      EXPECT_TRUE(folder.read("one.mtx") == folder.read("many.mtx")) << form << " " << threads;
    }
  }
}

/// The hex dump of the documentation: what stands between the offset and the remark, in two-digit groups.
std::string documented_file() {
  std::ifstream page(FORMAT_PAGE);
  std::string line, bytes;
  while (std::getline(page, line)) {
    if (line.size() < 8 || line.substr(4, 2) != "  " || line.find_first_not_of("0123456789abcdef") != 4)
      continue;
    std::istringstream groups(line.substr(6, 48));
    for (std::string group; groups >> group;)
      bytes.push_back(static_cast<char>(std::stoi(group, nullptr, 16)));
  }
  return bytes;
}

TEST_F(Velkmtx, FileInTheDocumentationIsTheOneItWrites) {
  folder.write("mesh", "8 1 1\n0 0 0\n8*10\n10\n10\n");
  folder.write("loc", "90 0 50000\n90 0 1\n1\n20 5 10\n");
  ASSERT_EQ(run("make mesh null loc g.mtx --wavelet haar --tolerance 0.1").status, 0);
  EXPECT_EQ(testing::PrintToString(folder.read("g.mtx")), testing::PrintToString(documented_file()));
}

TEST_F(Velkmtx, FileIsLoadedByTheLibrary) {
  ASSERT_EQ(run("make mesh null loc g.mtx").status, 0);
  const test::fresh_problem problem;
  getpar(folder.path("g.mtx"));
  EXPECT_EQ(store.ndata_mtx, 5);
  EXPECT_EQ(store.ncol, 135);
  EXPECT_TRUE(store.compressed);
  EXPECT_EQ(mesh.nx, 5);
  EXPECT_EQ(mesh.ny, 3);
  EXPECT_EQ(mesh.nz, 9);
  EXPECT_EQ(mesh.ztop, 12.5);
  EXPECT_EQ(store.ncube, 8 * 4 * 16);
}

}  // namespace
}  // namespace velko
