/// velkmtx mesh: the mesh that holds a survey and the ground below it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "files/mesh_file.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Stations 30 m above a ground that rises from 205 to 251.
constexpr auto hillside =
    "62 -4 52000\n"
    "62 -4 1\n"
    "3\n"
    "-40 15 235\n"
    "110 95 240\n"
    "60 40 281\n";

class MeshCommand : public test::companion {
 protected:
  MeshCommand() { folder.write("loc", hillside); }

  void make(const std::string& options) const {
    output_of("mesh made.mesh " + options);
    reset_state();
    read_mesh_file(folder.path("made.mesh"));
  }

 private:
  test::fresh_problem problem_;
};

TEST_F(MeshCommand, CoreCoversTheStationsInWholeCells) {
  make("--locations loc --clearance 30 --cell 25,20,10 --depth 100 --padding 0");
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(-50, -25, 0, 25, 50, 75, 100, 125));
  EXPECT_THAT(mesh.ynode.elements(), ElementsAre(0, 20, 40, 60, 80, 100));
}

TEST_F(MeshCommand, TopIsTheHighestGroundAndTheCoreEndsAtTheDepthBelowTheLowest) {
  make("--locations loc --clearance 30 --cell 25,20,10 --depth 100 --padding 0");
  EXPECT_EQ(mesh.ztop, 260);                            // the first multiple of 10 above 251
  EXPECT_EQ(mesh.ztop - mesh.znode(mesh.nz + 1), 100);  // 105, rounded down
  EXPECT_THAT(mesh.dz.elements(), testing::Each(10));
}

TEST_F(MeshCommand, OneWidthServesAllAxes) {
  make("--locations loc --cell 50 --depth 100 --padding 0");
  EXPECT_THAT(mesh.dx.elements(), ElementsAre(50, 50, 50, 50));
  EXPECT_THAT(mesh.dy.elements(), ElementsAre(50, 50));
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(50, 50, 50, 50));
}

TEST_F(MeshCommand, PaddingGrowsByTheFactorOnEachSideAndBelow) {
  make("--extent 0,50,0,25 --ground 0 --cell 25 --depth 25 --padding 3 --factor 1.5");
  EXPECT_THAT(mesh.dx.elements(), ElementsAre(84.38, 56.25, 37.5, 25, 25, 37.5, 56.25, 84.38));
  EXPECT_THAT(mesh.dy.elements(), ElementsAre(84.38, 56.25, 37.5, 25, 37.5, 56.25, 84.38));
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(25, 37.5, 56.25, 84.38));
  EXPECT_EQ(mesh.xnode(1), -178.13);
}

TEST_F(MeshCommand, ExtentAndGroundStandInForTheStations) {
  make("--locations loc --extent -10,10,-20,20 --ground 5,15 --cell 10 --depth 10 --padding 0");
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(-10, 0, 10));
  EXPECT_THAT(mesh.ynode.elements(), ElementsAre(-20, -10, 0, 10, 20));
  EXPECT_EQ(mesh.ztop, 20);
  EXPECT_EQ(mesh.znode(mesh.nz + 1), 30);
}

constexpr auto slope =
    "4 points: elevation 300 + x / 2\n"
    "-200 -200 200\n"
    "400 -200 500\n"
    "-200 400 200\n"
    "400 400 500\n";

TEST_F(MeshCommand, TopographyTellsTheGroundOverAllColumns) {
  folder.write("topo", slope);
  make("--locations loc --topography topo --cell 25,20,10 --depth 100 --padding 1 --factor 2");
  EXPECT_EQ(mesh.xnode(1), -100);
  EXPECT_EQ(mesh.xnode(mesh.nx + 1), 175);
  EXPECT_EQ(mesh.ztop, 390);                            // 387.5 at the eastern end
  EXPECT_EQ(mesh.ztop - mesh.znode(mesh.nz + 1), 130);  // 250 at the western end, less 100, less the padding
}

TEST_F(MeshCommand, TopographyTellsTheAreaWhereThereAreNoLocations) {
  folder.write("topo", slope);
  make("--topography topo --cell 100 --depth 100 --padding 0");
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(-200, -100, 0, 100, 200, 300, 400));
  EXPECT_EQ(mesh.ny, 6);
  EXPECT_EQ(mesh.ztop, 500);
}

TEST_F(MeshCommand, GroundOverridesTheTopography) {
  folder.write("topo", slope);
  make("--topography topo --ground 0 --cell 100 --depth 100 --padding 0");
  EXPECT_EQ(mesh.ztop, 0);
}

TEST_F(MeshCommand, BadTopographyIsToldInALine) {
  expect_error("mesh m --cell 10 --topography none", 1, "velkmtx: ERROR: topography file not found: none\n");
  folder.write("topo", "0\n");
  expect_error("mesh m --cell 10 --topography topo", 1, "velkmtx: topo has no points\n");
  folder.write("topo", slope);
  expect_error("mesh m --cell 10 --topography topo --extent 900,1000,0,100", 1,
               "velkmtx: Error: Topography is outside the mesh.\n");
  folder.write("topo", "3\n0 0 1\n1 1 1\n2 2 1\n");
  expect_error("mesh m --cell 1 --topography topo --padding 0", 1,
               "velkmtx: Error: Points in the topography file are collinear.\n");
  folder.write("topo", "5\n0 0 1\n9 0 1\n0 9 2\n0 9 3\n0 9 4\n");
  expect_error("mesh m --cell 1 --topography topo --padding 0", 1,
               "velkmtx: Duplicate points: 0.00000000E+00  9.00000000E+00: "
               "0.00000000E+00  9.00000000E+00: 0.00000000E+00  9.00000000E+00: "
               "Error: 3 duplicate points found in topography file.\n");
  folder.write("topo", "6\n0 0 1\n9 0 1\n0 9 2\n0 9 3\n0 9 4\n0 9 5\n");
  expect_error("mesh m --cell 1 --topography topo --padding 0", 1,
               "velkmtx: Duplicate points: 0.00000000E+00  9.00000000E+00: "
               "0.00000000E+00  9.00000000E+00: ...: Error: 6 duplicate points found in topography file.\n");
  folder.write("loc", "62 -4 5\n62 -4 1\n0\n");
  expect_error("mesh m --cell 1 --locations loc", 1,
               "velkmtx: ERROR: Number of data should be positive: loc: line 3: the number of data is 0\n");
}

TEST_F(MeshCommand, AreaWithoutWidthGetsOneCell) {
  make("--extent 5,5,3,3 --ground 0 --cell 10 --depth 10 --padding 0");
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(0, 10));
  EXPECT_THAT(mesh.ynode.elements(), ElementsAre(0, 10));
}

TEST_F(MeshCommand, DepthIsHalfTheShorterSideUnlessGiven) {
  make("--extent 0,100,0,60 --ground 0 --cell 10 --padding 0");
  EXPECT_EQ(mesh.znode(mesh.nz + 1), 30);
}

TEST_F(MeshCommand, PowersOfTwoAreFilledWithPadding) {
  make("--extent 0,50,0,90 --ground 0 --cell 10 --depth 30 --padding 2 --power-of-two");
  EXPECT_EQ(mesh.nx, 16);
  EXPECT_EQ(mesh.ny, 16);
  EXPECT_EQ(mesh.nz, 8);
}

TEST_F(MeshCommand, BoundsThatAreMultiplesButForRoundingGetNoCellMore) {
  make("--extent 0.3,0.6,0.1,0.7 --ground 0 --cell 0.1 --depth 0.3 --padding 0");
  EXPECT_EQ(mesh.nx, 3);
  EXPECT_EQ(mesh.ny, 6);
  EXPECT_EQ(mesh.nz, 3);
}

TEST_F(MeshCommand, SummaryTellsCountsCubeAndExtents) {
  EXPECT_EQ(output_of("mesh m --extent 0,50,0,30 --ground 0,12 --cell 10 --depth 30 --padding 0"),
            "m: 5 x 3 x 5 cells along x, y, z, in a cube of 8 x 4 x 8\n"
            "x from 0 to 50, y from 0 to 30, elevation from -30 to 20\n");
}

TEST_F(MeshCommand, FileShowsRepeatsAndPlainZeros) {
  output_of("mesh m --extent 0,40,0,10 --ground -0.0 --cell 10 --depth 20 --padding 1 --factor 2");
  EXPECT_EQ(folder.read("m"), "6 3 3\n-20 -20 0\n20 4*10 20\n20 10 20\n2*10 20\n");
}

TEST_F(MeshCommand, WrongOptionsAreToldInALine) {
  expect_error("mesh m --locations loc", 2, "velkmtx mesh: --cell is required; see velkmtx mesh --help\n");
  expect_error("mesh m --cell 10", 2, "--locations, --topography, or --extent and --ground, is required");
  expect_error("mesh m --cell 10 --extent 0,1,0,1", 2,
               "--locations, --topography, or --extent and --ground, is required");
  expect_error("mesh m --cell 0 --locations loc", 2, "--cell: '0' holds a width that is not positive");
  expect_error("mesh m --cell 10,-1,5 --locations loc", 2, "holds a width that is not positive");
  expect_error("mesh m --cell 10,20 --locations loc", 2, "--cell: '10,20' is not DX,DY,DZ");
  expect_error("mesh m --cell 10,x,3 --locations loc", 2, "--cell: '10,x,3' is not DX,DY,DZ");
  expect_error("mesh m --cell nan --locations loc", 2, "--cell: 'nan' is not DX,DY,DZ");
  expect_error("mesh m --cell inf --locations loc", 2, "--cell: 'inf' is not DX,DY,DZ");
  expect_error("mesh m --cell 1 --extent 1,2,3", 2, "--extent: '1,2,3' is not WEST,EAST,SOUTH,NORTH");
  expect_error("mesh m --cell 1 --extent 0,1,3,2", 2, "--extent: '0,1,3,2' has its ends in the wrong order");
  expect_error("mesh m --cell 1 --ground 2,1", 2, "--ground: '2,1' has its ends in the wrong order");
  expect_error("mesh m --cell 1 --depth 0", 2, "--depth: '0' is not a positive number");
  expect_error("mesh m --cell 1 --padding -1", 2, "--padding: '-1' is not a whole number from 0 to 1000");
  expect_error("mesh m --cell 1 --factor 0.5", 2, "--factor: '0.5' is not a number from 1 to 10");
  expect_error("mesh m --cell 1 --clearance nan", 2, "--clearance: 'nan' is not a finite number");
}

TEST_F(MeshCommand, InputThatCannotBeReadIsToldInALine) {
  expect_error("mesh m --cell 10 --locations none", 1, "velkmtx: ERROR: data file not found: none\n");
  folder.write("loc", "62 -4 52000\n62 -4 1\n1\n0 0 x\n");
  expect_error(
      "mesh m --cell 10 --locations loc", 1,
      "velkmtx: ERROR reading data file loc: 0 0 x: line 4, column 5: 'x' where z of datum 1 is wanted\n");
  folder.write("loc", "62 -4 52000\n62 -4 1\n1\n0 inf 0\n");
  expect_error("mesh m --cell 10 --locations loc", 1,
               "velkmtx: datum 1 lies at y = inf, which is not finite\n");
}

TEST_F(MeshCommand, MeshThatIsTooLargeIsRefused) {
  expect_error("mesh m --cell 0.001 --locations loc", 1,
               "velkmtx: the core has 150000 cells along x; at most 65536 are possible: take wider cells\n");
  expect_error("mesh m --cell 1 --extent 0,1e300,0,1 --ground 0", 1, "the core has 1e+300 cells along x");
  expect_error("mesh m --cell 0.1 --locations loc --depth 1000", 1, "more than 32 bits can count");
  expect_error("mesh m --cell 1 --extent 0,1,0,1 --ground 0 --padding 1000 --factor 10", 1,
               "velkmtx: the mesh has 2001 x 2001 x 1001 cells, more than 32 bits can count\n");
  expect_error("mesh m --cell 1e300 --extent 0,1,0,1 --ground 0 --padding 20 --factor 10", 1,
               "velkmtx: cell 1 along x vanishes between its edges");
  expect_error("mesh m --cell 5e-324 --extent 0,1,0,1 --ground 0", 1, "the core has too many cells along x");
}

TEST_F(MeshCommand, OutputIsNeverAnInput) {
  expect_error("mesh ./loc --cell 10 --locations loc", 1,
               "velkmtx: ./loc is an input; the output should be another file\n");
  EXPECT_EQ(folder.read("loc"), hillside);
}

TEST_F(MeshCommand, OutputThatCannotBeWrittenIsToldInALine) {
  expect_error("mesh none/m --cell 10 --locations loc", 1,
               "velkmtx: cannot write none/m: No such file or directory\n");
}

TEST_F(MeshCommand, HelpShowsAnExample) {
  EXPECT_THAT(output_of("mesh --help"), HasSubstr("velkmtx mesh survey.mesh --cell 25,25,10 --locations"));
}

}  // namespace
}  // namespace velko
