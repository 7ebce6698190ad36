/// velkmtx info and velkmtx check, on files that velkmtx made and on others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/sensitivity_file.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using test::sensitivity_file;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class InfoCommand : public test::companion {
 protected:
  InfoCommand() {
    folder.write("mesh", "8 4 4\n-40 -20 0\n8*10\n4*10\n4*10\n");
    folder.write("loc", "62 -4 52000\n62 -4 1\n3\n0 0 5\n10 3 5\n-20 5 9\n");
  }
  void write(const sensitivity_file& file) const { folder.write("g.mtx", file.bytes()); }
};

TEST_F(InfoCommand, TellsEverythingOfACompressedFile) {
  write(sensitivity_file(1, 2, 4)
            .itop({0, 3})
            .ztop(12)
            .znode({0, 1, 2, 4, 8})
            .wtz({1, 2, 3, 4, 0.5})
            .gdiag({9, 8, 7, 6, 5})
            .haar()
            .row({{1, 0.5f}, {8, -2.5f}})
            .row({{1, 1.0f}})
            .row({}));
  EXPECT_EQ(output_of("info g.mtx"),
            "g.mtx: 3 data x 5 cells, compressed, 0.3 kB\n"
            "mesh     2 x 1 x 4 cells along x, y, z\n"
            "         x from 0 to 20, y from 0 to 10, elevation from 4 to 12\n"
            "surface  itop from 0 to 3; 5 cells below it, 3 above\n"
            "filter   Haar, 2 coefficients\n"
            "cube     2 x 1 x 4 elements along x, y, z\n"
            "weights  wtz_kind 1, from 0.5 to 4\n"
            "rows     0 coefficients in the least, 1 in the median, 2 in the most; 3 in all\n"
            "         20 % of the values of a dense G, 60 % of its bytes\n"
            "G        from -2.5 to 1, transformed\n"
            "gdiag    from 5 to 9\n");
}

TEST_F(InfoCommand, TellsNothingOfFilterCubeAndRowsInADenseFile) {
  output_of("make mesh null loc g.mtx --dense");
  const std::string text = output_of("info g.mtx");
  EXPECT_THAT(text, HasSubstr("g.mtx: 3 data x 128 cells, dense, "));
  EXPECT_THAT(text, Not(testing::ContainsRegex("filter|cube|rows|transformed")));
}

TEST_F(InfoCommand, KnowsTheFiltersOfMake) {
  for (const char* n : {"4", "6", "8", "10", "12"}) {
    output_of(std::string("make mesh null loc g.mtx --wavelet d") + n);
    EXPECT_THAT(output_of("info g.mtx"),
                HasSubstr(std::string("filter   Daubechies, ") + n + " coefficients\n"));
  }
  output_of("make mesh null loc g.mtx --wavelet s10");
  EXPECT_THAT(output_of("info g.mtx"), HasSubstr("filter   symlet, 10 coefficients\n"));
  write(sensitivity_file().filter({0.3, 0.4, 0.5}));
  EXPECT_THAT(output_of("info g.mtx"), HasSubstr("filter   unknown, 3 coefficients\n"));
}

TEST_F(InfoCommand, FileWithFaultsIsToldWithTheirNumber) {
  write(sensitivity_file().haar().row({{0, 1.0f}}).wtz({1, 1, 1, 1, 1, 1, 1, -1}));
  EXPECT_THAT(output_of("info g.mtx"), HasSubstr("\nfaults   2; velkmtx check tells them\n"));
}

TEST_F(InfoCommand, CountsBelowOneAreToldToo) {
  write(sensitivity_file(-5, 0, -1).haar().wtz({}).gdiag({}).ncol(0));
  EXPECT_THAT(output_of("info g.mtx"),
              AllOf(HasSubstr("mesh     0 x -5 x -1 cells along x, y, z\n"
                              "         x from 0 to 0, no y, no elevation\n"),
                    HasSubstr("surface  itop no values; 0 cells below it, 0 above\n"),
                    HasSubstr("weights  wtz_kind 1, no values\n")));
}

TEST_F(InfoCommand, FileThatCannotBeReadIsToldInALine) {
  expect_error("info", 2, "velkmtx info: FILE is required; see velkmtx info --help\n");
  expect_error("info none", 1, "velkmtx: ERROR: sensitivity file not found: none\n");
  expect_error("info .", 1, "velkmtx: ERROR: sensitivity file not found: .\n");
  expect_error("info mesh", 1, "velkmtx: mesh: record 1 (header) is ");
  write(sensitivity_file().haar().cut_bytes(3));
  expect_error("info g.mtx", 1,
               "velkmtx: g.mtx: record 8 (diagonal) is cut off, or its length words differ\n");
}

using CheckCommand = InfoCommand;

TEST_F(CheckCommand, FilesOfMakeHaveNoFaults) {
  for (const char* form : {"--dense", "--wavelet haar", "--wavelet d12 --tolerance 0.1"}) {
    output_of(std::string("make mesh null loc g.mtx ") + form);
    EXPECT_THAT(output_of("check g.mtx"),
                testing::StartsWith("g.mtx: no faults, and every byte is as it was written\n"));
  }
}

TEST_F(CheckCommand, EachFaultIsALineAndTheStatusIsOne) {
  write(sensitivity_file().haar().row({{0, 1.0f}}).wtz({1, 1, 1, 1, 1, 1, 1, -1}));
  const test::program_run run = velkmtx("check g.mtx");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, testing::StartsWith("g.mtx: wtz(8) is -1: not finite and positive\n"
                                           "g.mtx: row 1: idx 0 is not from 1 to ncube = 8\n"));
  EXPECT_EQ(run.err, "");
}

TEST_F(CheckCommand, FilterThatIsNoWaveletsIsAFault) {
  write(sensitivity_file().filter(std::vector<r8>(1025, 0.01)).row({}));
  EXPECT_THAT(velkmtx("check g.mtx").out,
              testing::HasSubstr("g.mtx: nfilter is 1025: a filter of more than 1024"));
}

#if !defined(VELKO_SANITIZED)
TEST_F(CheckCommand, MemoryThatNoProcessHasIsTold) {
  write(sensitivity_file().cube(1, 1 << 30, 2).haar().row({}));
  const test::program_run run =
      run_program(folder, "/bin/bash", {"-c", "ulimit -v 8000000; " VELKMTX " check g.mtx"});
  EXPECT_THAT(run.out, testing::ContainsRegex(
                           "a run takes [0-9.]+ GB of memory; this process can have [0-9.]+ GB\n$"));
}

TEST_F(CheckCommand, MemoryThatIsToldIsWhatARunTakes) {
  constexpr i4 n = 96;
  write(sensitivity_file(n, n, n).cube(128, 128, 128).haar().row({{1, 1.0F}}));
  folder.write("loc", "65 0 50000\n65 0 1\n1\n1 2 3\n");
  const std::string said = output_of("check g.mtx");
  const std::string words = "a run takes ";
  const r8 told = std::stod(said.substr(said.find(words) + words.size()));
  const test::program_run run =
      run_program(folder, "/usr/bin/time", {"-f", "%M", VELKRUND, "g.mtx", "loc", "VALUE 1"});
  const r8 taken = std::stod(run.err) * 1024 / 1e6;  // the program itself and its libraries take some
  EXPECT_TRUE(folder.holds("velkrund.vlk")) << run.out << run.err;
  EXPECT_GT(taken, told - 1);
  EXPECT_LT(taken, told + 24);
}
#endif

TEST_F(CheckCommand, FileThatCannotBeOpenedIsToldOnTheErrorStream) {
  expect_error("check", 2, "velkmtx check: FILE is required; see velkmtx check --help\n");
  expect_error("check none", 1, "velkmtx: ERROR: sensitivity file not found: none\n");
  expect_error("check /dev/zero", 1, "velkmtx: /dev/zero is not a regular file\n");
}

TEST_F(CheckCommand, LocationFileOfTheSurveyBelongsToTheFile) {
  output_of("make mesh null loc g.mtx");
  EXPECT_THAT(
      output_of("check g.mtx loc"),
      testing::StartsWith("g.mtx: no faults, every byte is as it was written, and it belongs to loc\n"));
  folder.write("other", "62 -4 52000\n62 -4 1\n3\n0 0 5\n10 4 5\n-20 5 9\n");
  const test::program_run run = velkmtx("check g.mtx other");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out,
              testing::StartsWith("other: datum 2 lies at (10, 4, 5); the file was made for (10, 3, 5)\n"));
}

TEST_F(CheckCommand, WithoutProvenanceTheNumberOfDataIsCompared) {
  write(sensitivity_file().haar().row({}).row({}).row({}));
  EXPECT_THAT(output_of("check g.mtx"),
              testing::StartsWith(
                  "g.mtx: no faults; no provenance, so nobody can tell whether values have changed\n"));
  EXPECT_THAT(output_of("check g.mtx loc"),
              testing::StartsWith(
                  "g.mtx: no faults; no provenance, so of loc nothing but the number of data is compared\n"));
  write(sensitivity_file().haar().row({}));
  EXPECT_THAT(velkmtx("check g.mtx loc").out, testing::StartsWith("loc: 3 data; the file was made for 1\n"));
}

TEST_F(CheckCommand, ValueThatChangedIsFound) {
  output_of("make mesh null loc g.mtx --dense");
  std::string bytes = folder.read("g.mtx");
  bytes[bytes.size() / 3] ^= 1;
  folder.write("g.mtx", bytes);
  const test::program_run run = velkmtx("check g.mtx");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, testing::MatchesRegex("g.mtx: .* is not what was written: its checksum differs\n.*"));
}

TEST_F(InfoCommand, TellsHowAndForWhatTheFileWasMade) {
  output_of("make mesh null loc g.mtx --wavelet d6 --tolerance 0.01 --weights depth --z0 3");
  EXPECT_THAT(
      output_of("info g.mtx"),
      HasSubstr(
          "\nmade     program velkmtx, VELKO 5.0; wavelet d6; tolerance 0.01; weights depth; beta 3; z0 3\n"
          "field    inclination 62, declination -4, 52000 nT\n"
          "measured inclination 62, declination -4\n"
          "stations x from -20 to 10, y from 0 to 5, z from 5 to 9\n"
          "loss     a datum is off by at most this, in nT, times the largest value of the model: from "));
}

}  // namespace
}  // namespace velko
