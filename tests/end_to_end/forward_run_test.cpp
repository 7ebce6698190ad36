#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/end_to_end/survey.h"

namespace velko::test {
namespace {

const std::string small_result =
    "     65.00    -12.50  54321.00  !! incl, decl, geomag\n"
    "     90.00      0.00      1     !! aincl, adecl, idir\n"
    "      3                         !! # of data\n"
    "  1.000000000E+00  1.000000000E+01  2.500000000E+00    1.000000E+00\n"
    "  2.000000000E+00  2.000000000E+01  2.500000000E+00    0.000000E+00\n"
    "  3.000000000E+00  3.000000000E+01  2.500000000E+00   -7.000000E+00\n";

TEST_F(ForwardRun, CompressedMatrixPrintsTheBannerAloneAndWritesTheData) {
  const program_run run = velkrund();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, banner);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, DenseMatrixWarnsBehindTheBannerAndWritesTheSameData) {
  write(small_dense());
  const program_run run = velkrund();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, banner + dense_warning);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, PairOfDirectionsPerDatumReachesTheResult) {
  folder_.write("loc", "65 -12.5 54321\n0 0 0\n3\n1 2 3 65 -12.5\n4 5 6 7 8\n9 8 7 6 5\n");
  velkrund();
  EXPECT_EQ(
      folder_.read("velkrund.vlk"),
      "     65.00    -12.50  54321.00  !! incl, decl, geomag\n"
      "      0.00      0.00      0     !! aincl, adecl, idir\n"
      "      3                         !! # of data\n"
      "  1.000000000E+00  2.000000000E+00  3.000000000E+00    6.5000E+01 -1.2500E+01    1.000000E+00\n"
      "  4.000000000E+00  5.000000000E+00  6.000000000E+00    7.0000E+00  8.0000E+00    0.000000E+00\n"
      "  9.000000000E+00  8.000000000E+00  7.000000000E+00    6.0000E+00  5.0000E+00   -7.000000E+00\n");
}

TEST_F(ForwardRun, ResultIsItselfALocationFile) {
  velkrund();
  folder_.write("second.loc", folder_.read("velkrund.vlk"));
  const program_run run = velkrund({"velkosta.mtx", "second.loc", "model.sus"});
  EXPECT_EQ(run.out, banner);
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, ConstantModelIsOneArgumentAndIsWeighted) {
  write(small_compressed().wtz({1, 2, 3, 4}));
  EXPECT_EQ(velkrund({"velkosta.mtx", "loc", "VALUE 0.5"}).out, banner);
  EXPECT_THAT(folder_.read("velkrund.vlk"),
              testing::EndsWith("    5.000000E-01\n"
                                "  2.000000000E+00  2.000000000E+01  2.500000000E+00    0.000000E+00\n"
                                "  3.000000000E+00  3.000000000E+01  2.500000000E+00   -3.500000E+00\n"));
}

TEST_F(ForwardRun, CellsAboveTheSurfaceTakeNoPart) {
  write(small_compressed().itop({1, 0}));  // the first cell is air
  velkrund();
  EXPECT_THAT(folder_.read("velkrund.vlk"), testing::HasSubstr("2.500000000E+00    0.000000E+00\n  2.0"));
}

TEST_F(ForwardRun, AnyOtherNumberOfArgumentsPrintsTheUsageAndTouchesNoFile) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"velkosta.mtx"},
                                                    {"velkosta.mtx", "loc"},
                                                    {"velkosta.mtx", "loc", "model.sus", "x"}})
    expect_failure(velkrund(arguments), "   Usage: velkrund  velkosta.mtx locf model.sus\n");
}

TEST_F(ForwardRun, MissingSensitivityFileIsReportedAloneAndFirst) {
  expect_failure(velkrund({"no.mtx", "no.loc", "no.sus"}), "\n ERROR: sensitivity file not found: no.mtx\n");
}

TEST_F(ForwardRun, MissingLocationFileIsReportedAfterTheLoad) {
  expect_failure(velkrund({"velkosta.mtx", "no.loc", "no.sus"}), "\n ERROR: data file not found: no.loc\n");
}

TEST_F(ForwardRun, MissingModelIsReportedLast) {
  write(small_dense());
  expect_failure(velkrund({"velkosta.mtx", "loc", "no.sus"}),
                 dense_warning + "\n ERROR: model file not found: no.sus\n");
}

TEST_F(ForwardRun, DirectoryIsNoFile) {
  expect_failure(velkrund({".", "loc", "model.sus"}), "\n ERROR: sensitivity file not found: .\n");
  expect_failure(velkrund({"velkosta.mtx", ".", "model.sus"}), "\n ERROR: data file not found: .\n");
}

TEST_F(ForwardRun, NameIsCutAtFiveHundredCharacters) {
  const std::string name(500, 'n');
  expect_failure(velkrund({name + "cut", "loc", "model.sus"}),
                 "\n ERROR: sensitivity file not found: " + name + "\n");
}

TEST_F(ForwardRun, BlanksBehindANameAreNoPartOfIt) {
  EXPECT_EQ(velkrund({"velkosta.mtx  ", "loc ", "model.sus   "}).out, banner);
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, AnotherNumberOfDataThanRowsStops) {
  for (const int n : {2, 4}) {
    folder_.write("loc", locations(n));
    expect_failure("\nERROR: Number of data is inconsistent in obs and mtx files.\n");
  }
}

TEST_F(ForwardRun, LocationFileIsReadInFullBeforeTheNumbersAreCompared) {
  folder_.write("loc", locations(4) + "more lines\n");
  expect_failure("\nERROR: Number of data is inconsistent in obs and mtx files.\n");
  folder_.write("loc", "65 -12.5 54321\n90 0 1\n4\n1 2 3\n");
  expect_failure("\nERROR: end reached when reading data file loc\n");
}

TEST_F(ForwardRun, FailedRunLeavesAnEarlierResultInPlace) {
  folder_.write("velkrund.vlk", "earlier");
  folder_.write("model.sus", "1\n2\n3\n");
  EXPECT_EQ(velkrund().out, banner + "\nERROR: end reached reading model file model.sus\n");
  EXPECT_EQ(folder_.read("velkrund.vlk"), "earlier");
}

TEST_F(ForwardRun, SuccessfulRunReplacesAnEarlierResult) {
  folder_.write("velkrund.vlk", std::string(10000, 'x'));
  velkrund();
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, ResultThatCannotBeWrittenIsSaidOnTheErrorStream) {
  std::filesystem::create_directory(folder_.path("velkrund.vlk"));
  const program_run run = velkrund();
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, banner);
  EXPECT_THAT(run.err,
              testing::AllOf(testing::HasSubstr("velkrund.vlk"), testing::HasSubstr("Is a directory")));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

TEST_F(ForwardRun, ResultNeverOverwritesTheSensitivityFile) {
  const std::string matrix = folder_.read("velkosta.mtx");
  const auto expect_refusal = [&](const std::string& name) {
    const program_run run = velkrund({name, "loc", "model.sus"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, banner);
    EXPECT_EQ(run.err,
              "velkrund.vlk is the sensitivity file " + name + "; the predicted data are not written\n");
    EXPECT_EQ(folder_.read("velkosta.mtx"), matrix);
    std::filesystem::remove(folder_.path("velkrund.vlk"));
  };
  std::filesystem::create_symlink("velkosta.mtx", folder_.path("velkrund.vlk"));
  expect_refusal("velkosta.mtx");
  std::filesystem::create_hard_link(folder_.path("velkosta.mtx"), folder_.path("velkrund.vlk"));
  expect_refusal("velkosta.mtx");
  std::filesystem::copy(folder_.path("velkosta.mtx"), folder_.path("velkrund.vlk"));
  expect_refusal("velkrund.vlk");
}

TEST_F(ForwardRun, ResultReplacesTheLocationOrTheModelFileOfItsName) {
  folder_.write("velkrund.vlk", folder_.read("loc"));
  EXPECT_EQ(velkrund({"velkosta.mtx", "velkrund.vlk", "model.sus"}).out, banner);
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
  folder_.write("velkrund.vlk", folder_.read("model.sus"));
  EXPECT_EQ(velkrund({"velkosta.mtx", "loc", "velkrund.vlk"}).out, banner);
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, ResultGoesThroughALinkAndIntoAPipe) {
  std::filesystem::create_directory(folder_.path("elsewhere"));
  std::filesystem::create_symlink("elsewhere/result", folder_.path("velkrund.vlk"));
  for (int first_then_again = 0; first_then_again < 2; ++first_then_again) {
    EXPECT_EQ(velkrund().out, banner);
    EXPECT_EQ(folder_.read("elsewhere/result"), small_result);
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.path("velkrund.vlk")));
  }
  const std::string script =
      "rm velkrund.vlk; mkfifo velkrund.vlk; cat velkrund.vlk & \"$0\" velkosta.mtx loc model.sus >console; "
      "wait";
  EXPECT_EQ(run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}).out, small_result);
}

TEST_F(ForwardRun, FullDiskIsSaidOnTheErrorStream) {
  std::filesystem::create_symlink("/dev/full", folder_.path("velkrund.vlk"));
  const program_run run = velkrund();
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.err,
              testing::AllOf(testing::HasSubstr("velkrund.vlk"), testing::HasSubstr("No space left")));
}

TEST_F(ForwardRun, WeightsThatDoNotFitTheCellsStopOnTheErrorStream) {
  for (const std::size_t n : {3U, 5U}) {
    write(small_compressed().ncol(static_cast<i4>(n)));
    expect_failure("", "idx1 /= size(wtz)\n");
  }
}

TEST_F(ForwardRun, DenormalNumbersCountAsZero) {
  write(small_dense());
  folder_.write("model.sus", "1e-310\n1\n1\n1\n");
  velkrund();
  EXPECT_THAT(folder_.read("velkrund.vlk"), testing::HasSubstr("2.500000000E+00    0.000000E+00\n  2.0"));
  folder_.write("model.sus", "1e-300\n1\n1\n1\n");
  write(small_dense().wtz({1e-10, 1, 1, 1}));  // the weighted value is denormal
  velkrund();
  EXPECT_THAT(folder_.read("velkrund.vlk"), testing::HasSubstr("2.500000000E+00    0.000000E+00\n  2.0"));
}

/// The words behind the banner's colon, and no end by a signal.
class Environment : public ForwardRun {
 protected:
  std::string threads_with(const std::string& settings, const std::string& on_error_stream = "") {
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const program_run run = velkrund({"velkosta.mtx", "loc", "model.sus"}, settings);
    EXPECT_EQ(run.status, 0) << settings;
    EXPECT_EQ(run.err, on_error_stream) << settings;
    EXPECT_EQ(folder_.read("velkrund.vlk"), small_result) << settings;
    const std::string front = "\nParallelized with OpenMP.  # of threads:";
    EXPECT_THAT(run.out, testing::StartsWith(front)) << settings;
    return run.out.substr(front.size(), 3);
  }

  /// In a view of the file system of its own; without the mounts where the machine lets nobody mount.
  program_run velkrund_behind(const std::string& mounts) {
    const std::string script =
        "run='exec \"$0\" velkosta.mtx loc model.sus'; own_view='unshare --map-root-user --mount /bin/bash "
        "-c'\n"
        "$own_view \"$1\" 2>/dev/null && exec $own_view \"{ $1; } 2>/dev/null; $run\" \"$0\"\n"
        "eval \"$run\"";
    return run_program(folder_, "/bin/bash", {"-c", script, VELKRUND, mounts}, "OMP_NUM_THREADS=2");
  }
};

TEST_F(Environment, NumberOfThreadsThatIsSetAndEmptyCountsAsNotSet) {
  const std::string unset = threads_with("-u OMP_NUM_THREADS");
  EXPECT_EQ(threads_with("OMP_NUM_THREADS="), unset);
  EXPECT_EQ(threads_with("'OMP_NUM_THREADS= '"), unset);
}

TEST_F(Environment, WhatIsNoNumberOfThreadsIsToldAndNotUsed) {
  const std::string unset = threads_with("-u OMP_NUM_THREADS");
  for (const std::string text : {"abc", "-1", "0x10", "1e3", "+3", "2;2", "true", "2,abc", "3.5", ","})
    EXPECT_EQ(threads_with("'OMP_NUM_THREADS=" + text + "'",
                           "velko: OMP_NUM_THREADS is no number of threads, and is not used\n"),
              unset);
}

TEST_F(Environment, NumberOfThreadsIsTakenAsItStands) {
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=3"), "  3");
  EXPECT_EQ(threads_with("'OMP_NUM_THREADS= 3 '"), "  3");
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=3,2"), "  3");
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=0"), "  1");
}

TEST_F(Environment, FarTooManyThreadsAreMadeFewer) {
  for (const std::string text : {"40000", "2147483648", "99999999999999999999"})
    EXPECT_EQ(threads_with("OMP_NUM_THREADS=" + text), "***");
}

TEST_F(Environment, PrivateSettingsOfTheRunTimeThatItDiesOfAreNotUsed) {
  for (const std::string setting :
       {"KMP_FORCE_REDUCTION=abc", "KMP_CPUINFO_FILE=none", "KMP_SPIN_BACKOFF_PARAMS=", "KMP_TASKING=1",
        "KMP_GTID_MODE=1", "KMP_STACKOFFSET=1000000G", "KMP_ALIGN_ALLOC=1000000G", "GOMP_CPU_AFFINITY=1e3",
        "KMP_HOT_TEAMS_MAX_LEVEL=4294967296", "OMP_STACKSIZE=1000000G", "KMP_STACKSIZE=1000000G"})
    EXPECT_EQ(threads_with("OMP_NUM_THREADS=2 " + setting), "  2");
}

TEST_F(Environment, SettingsOfPlacesThatTheRunTimeDiesOfAreNotUsed) {
  for (const std::string setting :
       {"KMP_AFFINITY=9999999999norespect", "OMP_PROC_BIND=9999999999",
        "KMP_AFFINITY=verbose OMP_PLACES=threads", "KMP_AFFINITY=verbose OMP_PROC_BIND=close"})
    EXPECT_EQ(threads_with("OMP_NUM_THREADS=2 OMP_DISPLAY_AFFINITY=true " + setting), "  2");
}

/// They would go to the standard output, and into any file.
TEST_F(Environment, RunTimeHasNoWordsOfItsOwnBesideThoseOfTheRun) {
  for (const std::string setting :
       {"OMP_DISPLAY_AFFINITY=true", "OMP_DISPLAY_AFFINITY=true KMP_AFFINITY=disabled",
        "OMP_TOOL_VERBOSE_INIT=words", "OMP_TOOL_VERBOSE_INIT=stdout"})
    EXPECT_EQ(velkrund({"velkosta.mtx", "loc", "model.sus"}, "OMP_NUM_THREADS=1 " + setting).out, banner);
  EXPECT_EQ(threads_with("OMP_NUM_THREADS=1 OMP_TOOL_VERBOSE_INIT=" + std::string(5000, 'x')), "  1");
  EXPECT_FALSE(folder_.holds("words"));
}

/// A file of the process' number and user, as a dead run or somebody else leaves it.
TEST_F(Environment, FileOfTheRunTimeThatIsThereAlreadyIsLeftAlone) {
  const std::string script =
      "file=/dev/shm/__KMP_REGISTERED_LIB_$$_$UID; printf \"$1\" >$file; echo -n $file >planted; "
      "exec \"$0\" velkosta.mtx loc model.sus";
  for (const std::string contents : {"", "planted"}) {
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const program_run run =
        run_program(folder_, "/bin/bash", {"-c", script, VELKRUND, contents}, "OMP_NUM_THREADS=1");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
    std::ifstream planted(folder_.read("planted"));
    EXPECT_TRUE(planted.is_open());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(planted), {}), contents);
    std::filesystem::remove(folder_.read("planted"));
  }
}

TEST_F(Environment, SharedMemoryMayBeFullOrReadOnlyOrMissing) {
  for (const std::string mounts :
       {"mount -t tmpfs -o size=4k none /dev/shm && { head -c 8192 /dev/zero >/dev/shm/full || true; }",
        "mount -t tmpfs -o ro none /dev/shm", "mount -t tmpfs none /dev"}) {
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const program_run run = velkrund_behind(mounts);
    EXPECT_EQ(run.status, 0) << mounts;
    EXPECT_EQ(run.err, "") << mounts;
    EXPECT_EQ(folder_.read("velkrund.vlk"), small_result) << mounts;
  }
}

/// As containers get a single file from outside.
TEST_F(Environment, ResultGoesIntoAFileThatIsMountedThere) {
  folder_.write("velkrund.vlk", "before");
  folder_.write("outside", "before");
  const program_run run = velkrund_behind("mount --bind outside velkrund.vlk");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const bool was_mounted = folder_.read("velkrund.vlk") == "before";
  EXPECT_EQ(folder_.read(was_mounted ? "outside" : "velkrund.vlk"), small_result);
}

TEST_F(Environment, ThreadsThatAreRefusedAreDoneWithout) {
  // The limit on processes binds no root, so the run is that of another user where this one is root.
  const std::string as_user = geteuid() == 0 ? "setpriv --reuid 65533 --clear-groups " : "";
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0777));
  // Under the address sanitizer the search for leaks would start a thread of its own.
  const std::string script = "export ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0; ulimit -u 1; exec " +
                             as_user + "\"$0\" velkosta.mtx loc model.sus";
  const program_run run = run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}, "OMP_NUM_THREADS=4");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(Environment, FileThatMayNotGrowAtAllIsNoEndOfTheRunTime) {
  const std::string script =
      "(ulimit -f 0; exec \"$0\" velkosta.mtx loc model.sus 2>&1) | cat; echo ${PIPESTATUS[0]}";
  EXPECT_EQ(run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}, "OMP_NUM_THREADS=1").out,
            banner + "velko: cannot write velkrund.vlk: File too large\n0\n");
}

#if !defined(VELKO_SANITIZED)

TEST_F(Environment, LimitsOfTheAddressSpaceEndInWordsOrInAResult) {
  for (int mebibytes = 20; mebibytes <= 700; mebibytes += 20) {
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const std::string script =
        "ulimit -v " + std::to_string(mebibytes << 10) + "; exec \"$0\" velkosta.mtx loc model.sus";
    const program_run run = run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}, "OMP_NUM_THREADS=4");
    EXPECT_EQ(run.status, 0) << mebibytes << run.err;
    if (run.err.empty()) EXPECT_EQ(folder_.read("velkrund.vlk"), small_result) << mebibytes;
  }
}

TEST_F(Environment, StacksOfTheWholeTeamAreCutToTheAddressSpace) {
  sensitivity_file file = sensitivity_file(1, 2, 2).cube(256, 256, 128).haar();  // asks for stacks of 128 MiB
  write(file.row({{1, 1.0F}}).row({}).row({}));
  const std::string script = "ulimit -v 400000; exec \"$0\" velkosta.mtx loc model.sus";
  const program_run run = run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}, "OMP_NUM_THREADS=4");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(folder_.holds("velkrund.vlk"));
}

#endif

TEST_F(ForwardRun, ManyThreadsAreWarnedOf) {
  const program_run run = velkrund({"velkosta.mtx", "loc", "model.sus"}, "OMP_NUM_THREADS=200");
  EXPECT_THAT(run.out, testing::StartsWith("\nParallelized with OpenMP.  # of threads:200\n"
                                           "\nWARNING: more threads started than processors available.\n\n"
                                           "\nVELKO - Version 5.0 :  VELKRUND\n"));
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, ClosedConsoleCostsNoResult) {
  const std::string script =
      "mkfifo gone; (exec 3<gone; exec 3<&-; touch closed) & exec 4>gone; until [ -e closed ]; do sleep "
      "0.01; done; "
      "\"$0\" velkosta.mtx loc model.sus >&4; echo $?";
  const program_run run = run_program(folder_, "/bin/bash", {"-c", script, VELKRUND});
  EXPECT_EQ(run.out, "0\n");
  EXPECT_EQ(run.err, "velkrund.vlk is written\nvelko: cannot write to the console: Broken pipe\n");
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

/// A program that is started without a console opens its files where the console would be.
TEST_F(ForwardRun, MissingStreamsAreNotGivenToFiles) {
  const std::string matrix = folder_.read("velkosta.mtx");
  for (const std::string closed : {"0<&-", "1>&-", "2>&-", "0<&- 1>&-", "1>&- 2>&-", "0<&- 1>&- 2>&-"}) {
    std::filesystem::remove(folder_.path("velkrund.vlk"));
    const std::string script = "\"$0\" velkosta.mtx loc model.sus " + closed +
                               "; s=$?; \"$0\" no.mtx no no " + closed + " >>said; exit $s";
    EXPECT_EQ(run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}).status, 0) << closed;
    EXPECT_EQ(folder_.read("velkrund.vlk"), small_result) << closed;
    EXPECT_EQ(folder_.read("velkosta.mtx"), matrix) << closed;
  }
}

TEST_F(ForwardRun, FileThatMayNotGrowEndsTheRunInWords) {
  sensitivity_file file = small_compressed();
  for (int i = 4; i <= 200; ++i) file.row({});
  write(file);
  folder_.write("loc", locations(200));  // a result of 14 kB
  const std::string script =
      "(ulimit -f 4; exec \"$0\" velkosta.mtx loc model.sus 2>&1) | cat; echo ${PIPESTATUS[0]}";
  EXPECT_EQ(run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}, "OMP_NUM_THREADS=1").out,
            banner + "velko: cannot write velkrund.vlk: File too large\n0\n");
  EXPECT_FALSE(folder_.holds("velkrund.vlk"));
}

TEST_F(ForwardRun, RefusedConsoleIsSaidOnTheErrorStream) {
  const program_run run = run_program(folder_, "/bin/bash",
                                      {"-c", "exec \"$0\" velkosta.mtx loc model.sus >/dev/full", VELKRUND});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err,
            "velkrund.vlk is written\nvelko: cannot write to the console: No space left on device\n");
  EXPECT_EQ(folder_.read("velkrund.vlk"), small_result);
}

TEST_F(ForwardRun, RefusedConsoleIsSaidOfAFailedRunToo) {
  const program_run run =
      run_program(folder_, "/bin/bash", {"-c", "exec \"$0\" no.mtx loc sus >/dev/full", VELKRUND});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "velko: cannot write to the console: No space left on device\n");
}

TEST_F(ForwardRun, BannerIsOutBeforeTheLongRead) {
  // The sensitivity file is a pipe that stays open, with nothing more to read, until the banner is there.
  const std::string head = folder_.read("velkosta.mtx").substr(0, 300);
  folder_.write("head", head);
  const std::string script =
      "mkfifo pipe\n"
      "\"$0\" pipe loc model.sus >out &\n"
      "exec 3>pipe\n"
      "cat head >&3\n"
      "for k in {1..100}; do grep -q VELKRUND out && echo early && break; sleep 0.1; done\n"
      "exec 3>&-\n"
      "wait\n";
  EXPECT_EQ(run_program(folder_, "/bin/bash", {"-c", script, VELKRUND}).out, "early\n");
}

/// A survey large enough that every thread has rows, with awkward numbers.
sensitivity_file random_survey(bool compressed, std::mt19937& random) {
  std::normal_distribution<float> value;
  std::uniform_int_distribution<i4> position(1, 8 * 16 * 8);
  sensitivity_file file(7, 11, 6);
  if (compressed)
    file.cube(8, 16, 8).filter({0.482962913144534, 0.836516303737808, 0.224143868042013, -0.129409522551260});
  for (int i = 0; i < 101; ++i) {
    std::vector<entry> sparse;
    std::vector<r4> dense;
    for (int k = 0; k < i; ++k) sparse.push_back({position(random), value(random)});
    for (int k = 0; k < 7 * 11 * 6; ++k) dense.push_back(value(random));
    compressed ? file.row(sparse) : file.dense_row(dense);
  }
  return file;
}

TEST_F(ForwardRun, EveryNumberOfThreadsWritesTheSameBytes) {
  std::mt19937 random(4711);
  std::string model;
  for (int k = 0; k < 7 * 11 * 6; ++k) model += std::to_string(std::normal_distribution<>()(random)) + "\n";
  folder_.write("model.sus", model);
  folder_.write("loc", locations(101));
  for (const bool compressed : {true, false}) {
    write(random_survey(compressed, random));
    velkrund();
    const std::string with_one_thread = folder_.read("velkrund.vlk");
    EXPECT_EQ(std::count(with_one_thread.begin(), with_one_thread.end(), '\n'), 104);
    for (const std::string threads : {"2", "3", "7"}) {
      velkrund({"velkosta.mtx", "loc", "model.sus"}, "OMP_NUM_THREADS=" + threads);
      EXPECT_EQ(folder_.read("velkrund.vlk"), with_one_thread)
          << threads << " threads, compressed " << compressed;
    }
  }
}

}  // namespace
}  // namespace velko::test
