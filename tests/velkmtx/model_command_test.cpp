/// velkmtx model: a model file from a few bodies.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::HasSubstr;

class ModelCommand : public test::companion {
 protected:
  ModelCommand() { folder.write("mesh", "2 1 2\n0 0 10\n10 10\n10\n10 20\n"); }
};

TEST_F(ModelCommand, FileHasAValueForEachCellInModelOrder) {
  output_of(
      "model mesh sus --background 0.001 --body 'block 0 10 0 10 -20 0 0.02' --body 'block 10 20 0 10 0 10 "
      "0.3'");
  EXPECT_EQ(folder.read("sus"), "0.001\n0.02\n0.3\n0.001\n");
}

TEST_F(ModelCommand, BodiesOfTheCommandLineStandBehindThoseOfTheFile) {
  folder.write("bodies", "block 0 20 0 10 -20 10 0.5\nbackground 3\n");
  output_of("model mesh sus --body 'block 0 10 0 10 0 10 0.25' --bodies bodies");
  EXPECT_EQ(folder.read("sus"), "0.25\n0.5\n0.5\n0.5\n");
}

TEST_F(ModelCommand, BackgroundOfTheCommandLineOverridesTheFiles) {
  folder.write("bodies", "background 3\n");
  output_of("model mesh sus --bodies bodies");
  EXPECT_EQ(folder.read("sus"), "3\n3\n3\n3\n");
  output_of("model mesh sus --bodies bodies --background 0");
  EXPECT_EQ(folder.read("sus"), "0\n0\n0\n0\n");
}

TEST_F(ModelCommand, SamplesSetHowFinelyACellIsLookedAt) {
  const std::string quarter = "model mesh sus --body 'block 0 2.5 0 10 0 10 1' --samples ";
  output_of(quarter + "4");
  EXPECT_EQ(folder.read("sus"), "0.25\n0\n0\n0\n");
  output_of(quarter + "2");
  EXPECT_EQ(folder.read("sus"), "0.5\n0\n0\n0\n");
}

TEST_F(ModelCommand, SummaryTellsWhatEachBodyTakes) {
  EXPECT_EQ(output_of("model mesh sus --background 1e-3 --body 'block 0 10 0 10 -20 0 0.02'"),
            "sus: 4 values from 0.001 to 0.02\n"
            "block 0 10 0 10 -20 0 0.02: 1 cell, volume 2000\n");
}

TEST_F(ModelCommand, BodyThatNoCellFeelsIsRefused) {
  expect_error("model mesh sus --body 'sphere 5 5 50 10 1'", 1,
               "velkmtx: 'sphere 5 5 50 10 1' holds no point of any cell: it lies outside of the mesh");
  expect_error("model mesh sus --body 'sphere 1e300 5 5 10 1'", 1, "holds no point of any cell");
}

TEST_F(ModelCommand, WrongOptionsAndInputsAreToldInALine) {
  expect_error("model", 2, "velkmtx model: MESH is required; see velkmtx model --help\n");
  expect_error("model mesh", 2, "velkmtx model: OUTPUT is required");
  expect_error("model mesh sus --samples 0", 2, "--samples: '0' is not a whole number from 1 to 64");
  expect_error("model mesh sus --background nan", 2, "--background: 'nan' is not a finite number");
  expect_error("model mesh sus --body 'sphere 1'", 1,
               "velkmtx: --body: 'sphere 1' should be sphere X Y ELEVATION RADIUS VALUE\n");
  expect_error("model mesh sus --bodies none", 1, "velkmtx: ERROR: body file not found: none\n");
  expect_error("model none sus", 1, "velkmtx: ERROR: mesh file not found: none\n");
  expect_error("model mesh no/sus", 1, "velkmtx: cannot write no/sus: No such file or directory\n");
  expect_error("model mesh ./mesh", 1, "velkmtx: ./mesh is an input; the output should be another file\n");
  folder.write("mesh", "1 1 1\n0 0 0\n-1\n1\n1\n");
  expect_error("model mesh sus", 1, "velkmtx: width 1 along x is -1; it should be positive\n");
}

TEST_F(ModelCommand, HelpShowsEveryBody) {
  const std::string help = output_of("model --help");
  for (const char* line :
       {"block WEST EAST SOUTH NORTH BOTTOM TOP VALUE", "sphere X Y ELEVATION RADIUS VALUE",
        "dyke X Y ELEVATION STRIKE DIP LENGTH THICKNESS EXTENT VALUE"})
    EXPECT_THAT(help, HasSubstr(line));
}

TEST_F(ModelCommand, EmptyNameIsThatOfNoFile) {
  expect_error("model mesh m --bodies ''", 2, "'' is not the name of a file");
  expect_error("model mesh ''", 2, "'' is not the name of a file");
  expect_error("mesh m --cell 10 --locations ''", 2, "'' is not the name of a file");
}

/// A terminal obeys them: they could clear it, or make its lines say something else.
TEST_F(ModelCommand, ControlCharactersOfFilesAndNamesAreMasked) {
  folder.write("bodies", "block \x1b[2Jx\n");
  expect_error("model mesh m --bodies bodies", 1, "block ?[2Jx");
  expect_error("model 'no\x1b[2J\x07\xc2\x9bmesh' m --body x", 1, "no?[2J???mesh");
  expect_error("model mesh m '--b\x1b[2J'", 2, "--b?[2J");
}

/// Little memory for the whole program: the command line needs some too.
TEST_F(ModelCommand, MemoryThatIsRefusedIsToldAtAnyTime) {
#if !defined(VELKO_SANITIZED)
  for (int mebibytes = 20; mebibytes <= 80; mebibytes += 4) {
    const std::string script =
        "ulimit -v " + std::to_string(mebibytes << 10) + "; exec " VELKMTX " model --help";
    const test::program_run run = test::run_program(folder, "/bin/bash", {"-c", script});
    EXPECT_NE(run.status, -1) << mebibytes;
    EXPECT_LT(run.status, 128) << mebibytes << run.err;
  }
#endif
}

}  // namespace
}  // namespace velko
