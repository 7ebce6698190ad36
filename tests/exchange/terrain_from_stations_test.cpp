/// velkmtx import terrain --from-stations: the ground of a draped survey without a terrain file. Needs no GDAL.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::HasSubstr;

class TerrainFromStations : public test::companion {
 protected:
  void write_stations(const std::string& name, const std::string& lines) const {
    folder.write(name, "62 -4 52000\n62 -4 1\n" +
                           std::to_string(std::count(lines.begin(), lines.end(), '\n')) + "\n" + lines);
  }
};

TEST_F(TerrainFromStations, LiesBelowThemByTheClearance) {
  write_stations("loc", "0 0 230\n100 0 240\n0 100.5 250.25\n");
  const std::string said = output_of("import terrain topo --from-stations loc --clearance 30");
  EXPECT_EQ(
      folder.read("topo"),
      "! loc, 30 below its stations\n3 points: x, y, elevation\n0.000 0.000 200.000\n100.000 0.000 210.000\n"
      "0.000 100.500 220.250\n");
  EXPECT_THAT(said, HasSubstr("the lowest station is 30 above it\n"));
}

TEST_F(TerrainFromStations, CrossingsAreAveraged) {
  write_stations("loc", "0 0 230\n50 50 240\n100 100 250\n0 100 250\n50 50 260\n100 0 230\n");
  const std::string said = output_of("import terrain topo --from-stations loc --clearance 30");
  EXPECT_THAT(folder.read("topo"), HasSubstr("\n50.000 50.000 220.000\n"));
  EXPECT_THAT(said, HasSubstr("topo: 5 points"));
  EXPECT_THAT(said, HasSubstr("the lowest station is 20 above it\n"));
}

TEST_F(TerrainFromStations, SquaresAreAveragedAndAStationBelowTheirMeanIsToldOf) {
  write_stations("loc", "0 0 200\n0 9 300\n100 0 200\n0 100 200\n100 100 200\n");
  const test::program_run run =
      velkmtx("import terrain topo --from-stations loc --clearance 20 --spacing 40");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(
      folder.read("topo"),
      "! loc, 20 below its stations\n4 points: x, y, elevation\n0.000 4.500 230.000\n100.000 0.000 180.000\n"
      "0.000 100.000 180.000\n100.000 100.000 180.000\n");
  EXPECT_EQ(run.err, "velkmtx: 1 of 5 stations lie below the surface\n");
}

/// Two sets of lines that cross, over hills: a few stations share a place at different heights.
std::string crossing_lines() {
  std::ostringstream lines;
  for (int line = 0; line < 5; ++line)
    for (int n = 0; n <= 40; ++n) {
      const int along = n * 25, across = line * 250;
      const auto hills = [](int x, int y) { return 80 * std::sin(x / 150.0) * std::cos(y / 200.0); };
      lines << along << ' ' << across << ' ' << 300 + hills(along, across) << '\n';
      lines << across << ' ' << along << ' ' << 312 + hills(across, along) << '\n';
    }
  return lines.str();
}

/// Where the flat surface of the same mesh has stations in rock, this one has none.
TEST_F(TerrainFromStations, LeavesNoStationInRock) {
  write_stations("loc", crossing_lines());
  output_of("import terrain topo --from-stations loc --clearance 60");
  output_of("mesh survey.mesh --cell 50,50,20 --locations loc --topography topo --depth 100 --padding 2");
  EXPECT_THAT(velkmtx("make survey.mesh null loc flat.mtx --quiet").err, HasSubstr("in or on a cell"));
  EXPECT_EQ(velkmtx("make survey.mesh topo loc draped.mtx --quiet").err, "");
}

TEST_F(TerrainFromStations, OneLineIsEnough) {
  write_stations("loc", "0 0 230\n100 0 240\n200 0 260\n");
  EXPECT_EQ(velkmtx("import terrain topo --from-stations loc --clearance 30").status, 0);
  EXPECT_THAT(folder.read("topo"), HasSubstr("\n3 points"));
}

TEST_F(TerrainFromStations, WrongCommandLinesAreRefused) {
  write_stations("loc", "0 0 230\n");
  expect_error("import", 2, "velkmtx import: A subcommand is required");
  expect_error("import terrain topo", 2, "INPUT or --from-stations is required");
  expect_error("import terrain topo --from-stations loc", 2, "needs a --clearance above 0");
  expect_error("import terrain topo dem.tif --from-stations loc --clearance 3", 2, "one too many");
  expect_error("import terrain topo --from-stations loc --clearance -3", 2, "is not a number from 0 up");
}

TEST_F(TerrainFromStations, BadStationsAreRefused) {
  write_stations("loc", "0 0 nan\n");
  expect_error("import terrain topo --from-stations loc --clearance 3", 1, "datum 1 lies at (0, 0, nan)");
  expect_error("import terrain loc --from-stations loc --clearance 3", 1, "loc is an input");
  expect_error("import terrain topo --from-stations absent --clearance 3", 1, "absent");
}

TEST_F(TerrainFromStations, HelpNamesTheWholeCommand) {
  EXPECT_THAT(output_of("import terrain --help"), HasSubstr("Usage: velkmtx import terrain"));
  EXPECT_THAT(output_of("--help"), HasSubstr("\n  import  "));
}

}  // namespace
}  // namespace velko
