/// velkmtx make over real surfaces: what is below them, weights, data inside of cells, progress, interruption.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "store/getpar.h"
#include "store/state.h"
#include "tests/support/dense_values.h"
#include "tests/support/fresh_problem.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

/// A slope over 6 x 4 columns, from the top of the mesh in the west down to below the middle in the east.
constexpr auto mesh_text = "6 4 8\n0 0 80\n6*20\n4*25\n8*10\n";
constexpr auto slope = "4\n-10 -10 85\n-10 110 85\n130 -10 15\n130 110 22\n";
constexpr auto survey =
    "62.0 -4.0 52000.0\n"
    "58.0 -10.0 1\n"
    "4\n"
    "10 40 110\n"
    "50 10 100\n"
    "115 90 70\n"
    "70 50 75\n";  // in the box of the mesh, in the air above the slope

class MakeCommand : public test::companion {
 protected:
  MakeCommand() {
    folder.write("mesh", mesh_text);
    folder.write("topo", slope);
    folder.write("loc", survey);
  }
  void judge(const std::string& arguments) const {
    const std::string command =
        "cd " + folder.path() + " && /usr/bin/python3 " JUDGE_SENSITIVITY " " + arguments + " > judged 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << folder.read("judged");
  }
  void load(const std::string& name) const {
    reset_state();
    getpar(folder.path(name));
  }

 private:
  test::fresh_problem problem_;
};

TEST_F(MakeCommand, OverATerrainBothFormsHoldWhatAnIndependentJudgeComputes) {
  output_of("make mesh topo loc dense --dense");
  output_of("make mesh topo loc d4 --tolerance 1e-3");
  output_of("make mesh topo loc s8 --wavelet s8 --tolerance 0.02");
  judge("mesh loc dense d4 d4 1e-3 s8 s8 0.02");
}

TEST_F(MakeCommand, WithDepthWeightsBothFormsHoldWhatAnIndependentJudgeComputes) {
  output_of("make mesh topo loc dense --dense --weights depth");
  output_of("make mesh topo loc d4 --tolerance 1e-3 --weights depth");
  judge("mesh loc dense d4 d4 1e-3");
}

TEST_F(MakeCommand, TerrainTakesCellsOutOfTheMesh) {
  output_of("make mesh topo loc g.mtx");
  load("g.mtx");
  i4 below = 0;
  for (const i4 itop : mesh.itop.elements()) below += mesh.nz - itop;
  EXPECT_EQ(store.ncol, below);
  EXPECT_LE(mesh.itop(1, 1), 2);
  EXPECT_GE(mesh.itop(1, 6), 4);
}

TEST_F(MakeCommand, ColumnsOfAirTakeNoPlace) {
  folder.write("topo", "4\n-10 -10 300\n-10 110 300\n130 -10 -300\n130 110 -300\n");
  output_of("make mesh topo loc dense --dense");
  output_of("make mesh topo loc d4 --tolerance 1e-3");
  judge("mesh loc dense d4 d4 1e-3");
  load("d4");
  EXPECT_EQ(mesh.itop(1, 6), mesh.nz);
  EXPECT_EQ(mesh.itop(1, 1), 0);
}

TEST_F(MakeCommand, SurfaceBelowTheWholeMeshIsRefused) {
  folder.write("topo", "4\n-10 -10 -50\n-10 110 -50\n130 -10 -50\n130 110 -60\n");
  expect_error("make mesh topo loc g.mtx", 1, "velkmtx: no cell of the mesh lies below the surface\n");
}

TEST_F(MakeCommand, TopographyThatCannotBeReadIsOneLine) {
  expect_error("make mesh none loc g.mtx", 1, "velkmtx: ERROR: topography file not found: none\n");
  folder.write("topo", "4\n-10 -10 85\n-10 x\n");
  expect_error(
      "make mesh topo loc g.mtx", 1,
      "velkmtx: ERROR reading topography file topo: line 3, column 5: 'x' where y of point 2 is wanted\n");
  expect_error("make mesh loc loc g.mtx", 1, "velkmtx: ");
  expect_error("make mesh topo loc topo", 1,
               "velkmtx: topo is an input; the output should be another file\n");
}

TEST_F(MakeCommand, DepthWeightsFallFromOneAtTheTopmostCells) {
  output_of("make mesh topo loc g.mtx --weights depth --z0 15 --beta 2");
  load("g.mtx");
  EXPECT_EQ(store.wtz_kind, 1);
  // Column (1, 1) has its first cell's centre 5 deep, the next 15, 25, ...
  for (i4 k = 1; k <= 4; ++k)
    EXPECT_EQ(store.wtz(k), static_cast<r4>((5.0 + 15.0) / ((10.0 * k - 5.0) + 15.0))) << k;
}

TEST_F(MakeCommand, WithoutWeightsAllAreOne) {
  output_of("make mesh topo loc g.mtx");
  load("g.mtx");
  EXPECT_EQ(store.wtz_kind, 0);
  EXPECT_THAT(store.wtz.elements(), testing::Each(1.0));
}

TEST_F(MakeCommand, DataInOrOnCellsBelowTheSurfaceAreCountedInAWarningWhereTheyAreAskedFor) {
  folder.write("loc",
               "62 -4 52000\n62 -4 1\n5\n"
               "10 40 110\n"    // above the mesh
               "10 12.5 25\n"   // in the middle of a cell
               "20 25 20\n"     // on a corner of eight of them
               "0 40 20\n"      // on the side of the mesh
               "115 90 70\n");  // in the air
  const test::program_run run = velkmtx("make mesh topo loc g.mtx --allow-buried");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "velkmtx: 3 of 5 data lie in or on a cell below the surface, the first is datum 2\n");
  load("g.mtx");
  EXPECT_EQ(store.ndata_mtx, 5);
}

TEST_F(MakeCommand, ValuesAreFiniteForDataOnEdgesAndCorners) {
  folder.write("loc", "62 -4 52000\n58 -10 1\n4\n20 25 20\n20 30 20\n20 25 25\n27 25 20\n");
  EXPECT_EQ(velkmtx("make mesh topo loc g.mtx --dense --allow-buried").status, 0);
  load("g.mtx");
  for (const r4 value : test::dense_values()) EXPECT_LT(std::abs(value), 1e6f);
}

TEST_F(MakeCommand, DryRunTellsWhatWouldComeAndWritesNothing) {
  const std::string plan = output_of("make mesh topo loc g.mtx --dry-run --threads 1");
  EXPECT_THAT(
      plan, MatchesRegex(
                "g.mtx: 4 data x [0-9]+ cells, about [0-9.]+ kB, where a dense G has [0-9.]+ kB\n"
                "wavelet d4, weights none, tolerance [0-9.e-]+, for trial models within 1 %: [0-9]+ to "
                "[0-9]+ coefficients in a row, median [0-9]+, .*\n"
                "compression ratio .*\n"
                "relative error of a row .*\n"
                "errors of the data of trial models, judged by 4 rows: .*\n"
                "(a row takes .*\n)?"
                "about [0-9.]+ MB of memory and 0.0 s on 1 thread, judged by 4 rows; nothing is written\n"));
  EXPECT_FALSE(folder.holds("g.mtx"));
  EXPECT_THAT(output_of("make mesh topo loc g.mtx --dry-run --dense"), HasSubstr("; nothing is written\n"));
}

TEST_F(MakeCommand, DryRunForeseesTheSizeOfTheFile) {
  const auto size_line = [](const std::string& text) { return text.substr(0, text.find(", where")); };
  std::string planned = size_line(output_of("make mesh topo loc g.mtx --dry-run"));
  planned.erase(planned.find("about "), 6);
  const std::string made = size_line(output_of("make mesh topo loc g.mtx"));
  const auto kilobytes = [](const std::string& line) { return std::stod(line.substr(line.rfind(',') + 1)); };
  EXPECT_NEAR(kilobytes(planned), kilobytes(made), 0.05 * kilobytes(made) + 0.5);
}

#if !defined(VELKO_SANITIZED)
/// What the dry run tells beside what the run takes.
class MemoryOfARun : public MakeCommand {
 protected:
  MemoryOfARun() {
    std::string text = "62 -4 52000\n62 -4 1\n3000\n";
    for (int n = 0; n < 3000; ++n)
      text += std::to_string(n % 60 * 4) + " " + std::to_string(n / 60 * 5) + " 100\n";
    folder.write("loc", text);
    folder.write("wide", "4\n-100 -100 85\n-100 500 85\n500 -100 15\n500 500 22\n");
  }
  void expect_foreseen(const std::string& arguments) const {
    const std::string plan = output_of("make " + arguments + " --dry-run");
    std::smatch told;
    ASSERT_TRUE(std::regex_search(plan, told, std::regex("\nabout ([0-9.]+) MB of memory "))) << plan;
    const test::program_run run = run_program(
        folder, "/bin/sh", {"-c", "/usr/bin/time -f %M " VELKMTX " make " + arguments + " --quiet"});
    ASSERT_EQ(run.status, 0) << run.err;
    const r8 taken = std::stod(run.err) * 1024 / 1e6;
    EXPECT_NEAR(std::stod(told[1]), taken, 0.1 * taken) << arguments;
  }
};

TEST_F(MemoryOfARun, IsForeseenForEveryFormAndNumberOfThreads) {
  folder.write("even", "64 64 64\n0 0 80\n64*4\n64*4\n64*4\n");
  folder.write("padded",
               "70 60 50\n-60 -60 80\n20 15 10 64*4 10 15 20\n20 15 10 54*5 10 15 20\n44*4 5 6 8 10 13 17\n");
  for (const std::string arguments :
       {"even null loc g.mtx --tolerance 0.01 --rows 1:12 --threads 1",
        "even null loc g.mtx --rows 1:12 --threads 3",
        "padded wide loc g.mtx --tolerance 0.003 --rows 1:12 --threads 2 --resume",
        "padded wide loc g.mtx --dense --rows 1:12 --threads 2",
        "even null loc g.mtx --accuracy 5 --rows 1:8 --threads 1"})
    expect_foreseen(arguments);
}

/// Sums over the blocks of a part take as much again as the rest: rows 1024 to 2049 touch three blocks.
TEST_F(MemoryOfARun, IsForeseenForPartsOfManyBlocks) {
  folder.write("fine", "128 128 32\n0 0 80\n128*2\n128*2\n32*4\n");
  folder.write("coarse", "64 64 16\n0 0 80\n64*4\n64*4\n16*8\n");
  expect_foreseen("fine null loc g.mtx --tolerance 0.03 --rows 1020:1030 --threads 1");
  expect_foreseen("coarse null loc g.mtx --tolerance 0.03 --rows 1024:2049 --threads 2");
}
/// Sums of forty blocks.
TEST_F(MemoryOfARun, BeyondWhatTheProcessCanHaveIsTold) {
  std::string text = "62 -4 52000\n62 -4 1\n40000\n";
  for (int n = 0; n < 40000; ++n) text += std::to_string(n % 200) + " " + std::to_string(n / 200) + " 100\n";
  folder.write("many", text);
  folder.write("fine", "128 128 32\n0 0 80\n128*2\n128*2\n32*4\n");
  const test::program_run run = run_program(
      folder, "/bin/bash",
      {"-c", "ulimit -v 120000; " VELKMTX " make fine null many g.mtx --tolerance 0.03 --rows 2:40000"
             " --threads 1 --dry-run"});
  EXPECT_THAT(run.out, ContainsRegex("\nabout [0-9.]+ MB of memory \\(this process can have 122\\.9 MB\\) "));
}
#endif

/// A survey that takes minutes, over a fine mesh.
class LongRun : public MakeCommand {
 protected:
  LongRun() {
    folder.write("mesh", "64 64 32\n0 0 80\n64*2\n64*2\n32*4\n");
    std::string text = "62 -4 52000\n62 -4 1\n20000\n";
    for (int n = 0; n < 20000; ++n)
      text += std::to_string(n % 128) + " " + std::to_string(n % 97) + " " + std::to_string(120 + n / 12000) +
              "\n";
    folder.write("loc", text);
    folder.write("g.mtx", "earlier");
  }
  /// Status and error stream of a run that gets the signal once its file is open, which has no name yet.
  test::program_run run_until_signal(const std::string& signal, const std::string& options) const {
    // set -m: without job control a shell has its background commands ignore SIGINT.
    const std::string script = "set -m; cd " + folder.path() + "; " VELKMTX " make mesh null loc g.mtx " +
                               options +
                               " >out 2>err & run=$!; until ls -l /proc/$run/fd 2>&1 | grep -q deleted; do "
                               "sleep 0.02; done; kill -" +
                               signal + " $run; wait $run";
    const int ended = std::system(("timeout -s KILL 100 bash -c '" + script + "'").c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, folder.read("out"), folder.read("err")};
  }
};

TEST_F(LongRun, WhenInterruptedLeavesTheEarlierFileAndNoOther) {
  const auto before = files();
  for (const auto& [signal, status] :
       {std::pair{"INT", 130}, {"TERM", 143}, {"HUP", 129}, {"QUIT", 131}, {"XCPU", 152}}) {
    const test::program_run run = run_until_signal(signal, "--tolerance 1e-3");
    EXPECT_EQ(run.status, status);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "velkmtx: interrupted; g.mtx is as it was\n");
    EXPECT_EQ(folder.read("g.mtx"), "earlier");
    std::filesystem::remove(folder.path("out"));
    std::filesystem::remove(folder.path("err"));
    EXPECT_EQ(files(), before);
  }
}

TEST_F(LongRun, WhenKilledLeavesTheEarlierFileAndNoOther) {
  const auto before = files();
  EXPECT_EQ(run_until_signal("KILL", "").status, 137);
  std::filesystem::remove(folder.path("out"));
  std::filesystem::remove(folder.path("err"));
  EXPECT_EQ(folder.read("g.mtx"), "earlier");
  EXPECT_EQ(files(), before);
}

TEST_F(MakeCommand, ShowsProgressOnATerminalAlone) {
  // script gives the run a terminal, and keeps what comes there.
  const auto on_terminal = [&](const std::string& options) {
    const std::string command = "cd " + folder.path() +
                                " && timeout 100 script -qec '" VELKMTX " make mesh topo loc g.mtx " +
                                options + " >out' typed </dev/null >/dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return folder.read("typed");
  };
  EXPECT_THAT(on_terminal(""), ContainsRegex("\\[=* *\\] 1 of 4 rows, [0-9.]+ a second, 0:00 left"));
  EXPECT_THAT(on_terminal("--quiet"), testing::Not(HasSubstr(" of 4 rows")));
}

}  // namespace
}  // namespace velko
