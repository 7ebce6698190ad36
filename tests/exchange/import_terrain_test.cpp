/// velkmtx import terrain: rasters and tables of points to topography files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/exchange/judges.h"

namespace velko {
namespace {

using testing::HasSubstr;

/// Four columns and three rows of cells of 100 m, with a hole.
constexpr auto small_grid =
    "ncols 4\nnrows 3\nxllcorner 1000\nyllcorner 2000\ncellsize 100\nNODATA_value -9999\n"
    "10 11 12 13\n20 21 -9999 23\n30 31 32 33\n";

constexpr auto its_points =
    "11 points: x, y, elevation\n"
    "1050.000 2050.000 30.000\n1150.000 2050.000 31.000\n1250.000 2050.000 32.000\n1350.000 2050.000 33.000\n"
    "1050.000 2150.000 20.000\n1150.000 2150.000 21.000\n1350.000 2150.000 23.000\n"
    "1050.000 2250.000 10.000\n1150.000 2250.000 11.000\n1250.000 2250.000 12.000\n1350.000 2250.000 "
    "13.000\n";

class ImportTerrain : public test::exchange {
 protected:
  ImportTerrain() { folder.write("small.asc", small_grid); }

  /// A raster in UTM zone 30 whose cells' middles lie on a plane.
  void make_plane(const std::string& name, int cells, int cell) const {
    std::ostringstream text;
    text << "ncols " << cells << "\nnrows " << cells << "\nxllcorner 500000\nyllcorner 6000000\ncellsize "
         << cell << '\n';
    for (int row = cells - 1; row >= 0; --row)
      for (int column = 0; column < cells; ++column)
        text << plane(500000 + (column + 0.5) * cell, 6000000 + (row + 0.5) * cell)
             << (column + 1 < cells ? ' ' : '\n');
    folder.write("plane.asc", text.str());
    shell("gdal_translate -q -ot Float64 -a_srs EPSG:32630 plane.asc " + name);
  }

  static double plane(double x, double y) { return 100 + (x - 500000) / 8 + (y - 6000000) / 16; }

  std::vector<std::array<double, 3>> points_of(const std::string& name) const {
    const std::vector<double> values = numbers(behind(2, name));
    std::vector<std::array<double, 3>> points;
    for (std::size_t n = 0; n + 2 < values.size(); n += 3)
      points.push_back({values[n], values[n + 1], values[n + 2]});
    return points;
  }
};

TEST_F(ImportTerrain, PointsAreTheMiddlesOfCellsAndHolesAreTold) {
  const std::string said = output_of("import terrain topo small.asc");
  EXPECT_EQ(folder.read("topo"), "! small.asc\n" + std::string(its_points));
  EXPECT_EQ(said,
            "topo: 11 points, small.asc\none in 100 along x and y\n"
            "1 of 12 places have no elevation: holes, or outside of the raster\n"
            "x from 1050 to 1350, y from 2050 to 2250, elevation from 10 to 33\n");
}

TEST_F(ImportTerrain, FormatsOfTheFieldGiveTheSame) {
  const std::map<std::string, std::string> formats{{"g.tif", "GTiff"}, {"g.nc", "netCDF"}, {"g.grd", "GSBG"},
                                                   {"g.txt", "GSAG"},  {"g.img", "HFA"},   {"g.bil", "ENVI"}};
  for (const auto& [name, format] : formats) {
    shell("gdal_translate -q -of " + format + " -a_srs EPSG:32630 small.asc " + name);
    output_of("import terrain topo " + name);
    EXPECT_EQ(behind(1, "topo"), its_points) << name;
  }
}

TEST_F(ImportTerrain, GxfIsRead) {
  folder.write(
      "g.gxf",
      "#POINTS\n4\n#ROWS\n3\n#PTSEPARATION\n100\n#RWSEPARATION\n100\n#XORIGIN\n1050\n#YORIGIN\n2050\n"
      "#DUMMY\n-9999\n#SENSE\n1\n#GRID\n30 31 32 33\n20 21 -9999 23\n10 11 12 13\n");
  output_of("import terrain topo g.gxf");
  EXPECT_EQ(behind(1, "topo"), its_points);
}

TEST_F(ImportTerrain, DemIsRead) {
  shell("gdal_translate -q -of USGSDEM -a_srs EPSG:32630 -a_nodata -32767 small.asc g.dem");
  output_of("import terrain topo g.dem");
  for (const auto& [x, y, z] : points_of("topo"))
    EXPECT_NEAR(z,
                numbers(shell("gdallocationinfo -valonly -geoloc g.dem " + std::to_string(x) + ' ' +
                              std::to_string(y)))
                    .at(0),
                1e-3);
  EXPECT_GE(points_of("topo").size(), 11u);
}

TEST_F(ImportTerrain, NumberForNoElevationCanBeTold) {
  shell("gdal_translate -q -of XYZ small.asc g.xyz");
  output_of("import terrain topo g.xyz --nodata -9999");
  EXPECT_EQ(behind(1, "topo"), its_points);
}

TEST_F(ImportTerrain, PlaneStaysOneInAnotherCoordinateSystem) {
  make_plane("plane.tif", 60, 50);
  shell("gdalwarp -q -t_srs EPSG:4326 -r cubic -tr 0.0002 0.0002 -dstnodata -1 plane.tif degrees.tif");
  output_of(
      "import terrain topo degrees.tif --crs EPSG:32630 --extent 500500,502500,6000500,6002500 --spacing "
      "100");
  const auto points = points_of("topo");
  EXPECT_EQ(points.size(), 441u);
  for (const auto& [x, y, z] : points) EXPECT_NEAR(z, plane(x, y), 0.5) << x << ' ' << y;
}

TEST_F(ImportTerrain, FinerRasterIsAveraged) {
  std::string text = "ncols 40\nnrows 40\nxllcorner 0\nyllcorner 0\ncellsize 1\n";
  for (int row = 0; row < 40; ++row)
    for (int column = 0; column < 40; ++column) text += (row + column) % 2 == 0 ? "0 " : "100 ";
  folder.write("checks.asc", text);
  output_of("import terrain topo checks.asc --extent 10,30,10,30 --spacing 10");
  const auto points = points_of("topo");
  EXPECT_EQ(points.size(), 9u);
  for (const auto& [x, y, z] : points) EXPECT_EQ(z, 50);
}

TEST_F(ImportTerrain, AreaIsThatOfTheStationsAndAMargin) {
  make_plane("plane.tif", 40, 50);
  folder.write("loc", "70 0 50000\n70 0 1\n2\n500400 6000500 900\n500700 6000600 900\n");
  output_of("import terrain topo plane.tif --locations loc --margin 200 --spacing 100");
  double west = 1e9, east = 0, south = 1e9, north = 0;
  for (const auto& [x, y, z] : points_of("topo")) {
    west = std::min(west, x), east = std::max(east, x), south = std::min(south, y),
    north = std::max(north, y);
    EXPECT_NEAR(z, plane(x, y), 1e-3);
  }
  EXPECT_EQ(west, 500200);
  EXPECT_EQ(east, 500900);
  EXPECT_EQ(south, 6000300);
  EXPECT_EQ(north, 6000800);
}

TEST_F(ImportTerrain, OriginIsTakenOffTheAreaToo) {
  make_plane("plane.tif", 40, 50);
  output_of("import terrain topo plane.tif --origin 500000,6000000 --extent 300,500,300,500 --spacing 100");
  const auto points = points_of("topo");
  EXPECT_EQ(points.size(), 9u);
  for (const auto& [x, y, z] : points) EXPECT_NEAR(z, plane(x + 500000, y + 6000000), 1e-3);
}

/// Edges and middles of columns, where the surface of a mesh is looked at.
TEST_F(ImportTerrain, MeshGetsThePointsThatItSees) {
  make_plane("plane.tif", 100, 50);
  output_of(
      "mesh m --cell 200,100,50 --extent 502000,503000,6002000,6002500 --ground 0,800 --depth 100 --padding "
      "1");
  output_of("import terrain topo plane.tif --mesh m");
  const auto points = points_of("topo");
  EXPECT_EQ(points.size(), (2u * 7 + 1) * (2 * 7 + 1));
  for (const auto& [x, y, z] : points) EXPECT_NEAR(z, plane(x, y), 2e-3);
  folder.write("loc", "70 0 50000\n70 0 1\n1\n502500 6002250 2000\n");
  EXPECT_EQ(velkmtx("make m topo loc out.mtx --quiet --dense").err, "");
}

TEST_F(ImportTerrain, LaterRasterLiesOnTop) {
  std::string upper = small_grid;
  upper.replace(upper.find("20 21"), 5, "99 -9999");
  folder.write("upper.asc", upper);
  output_of("import terrain topo small.asc upper.asc");
  EXPECT_THAT(behind(2, "topo"), HasSubstr("1050.000 2150.000 99.000\n1150.000 2150.000 21.000\n"));
}

TEST_F(ImportTerrain, TableOfPointsIsTaken) {
  folder.write("points.csv", "e,n,elev\n0,0,10\n1,1,20\n90,0,30\n0,90,\n0,95,40\n500,500,50\n");
  const std::string said =
      output_of("import terrain topo points.csv --x e --y n --z elev --spacing 10 --extent -10,100,-10,100");
  EXPECT_EQ(behind(1, "topo"),
            "3 points: x, y, elevation\n0.500 0.500 15.000\n90.000 0.000 30.000\n0.000 95.000 40.000\n");
  EXPECT_THAT(said, HasSubstr("6 records, 4 of them inside\n1 records left out: they lack a number\n"));
}

TEST_F(ImportTerrain, WhatIsMissingIsNamed) {
  shell("gdal_translate -q -a_srs EPSG:4326 -a_ullr 9 50.5 10 50 small.asc degrees.tif");
  expect_error("import terrain topo absent.tif", 1, "absent.tif: no such file");
  expect_error("import terrain topo small.asc --crs EPSG:32630", 1,
               "names no coordinate system; --source-crs tells it");
  expect_error(
      "import terrain topo degrees.tif", 1,
      "it is in degrees; --crs tells the system of lengths to write, such as EPSG:32632 (UTM zone 32 north)");
  expect_error("import terrain topo degrees.tif --crs EPSG:4326", 1, "EPSG:4326 is no system of lengths");
  expect_error("import terrain topo small.asc --extent 90000,91000,0,1000", 1, "no point is left to write");
  expect_error("import terrain topo small.asc --extent 0,1e9,0,1e9", 1, "a wider --spacing than 100");
  expect_error("import terrain small.asc small.asc", 1, "small.asc is an input");
  folder.write("words.txt", "these are words\n");
  expect_error("import terrain topo words.txt", 1, "no grid of GeoTIFF");
  folder.write("short.tif", std::string("II*\0\x08\0\0\0", 8));
  expect_error("import terrain topo short.tif", 1, "no grid of GeoTIFF");
}

TEST_F(ImportTerrain, OneVariableOfSeveralIsNamed) {
  const std::string head =
      "netcdf two { dimensions: y = 2; x = 2; variables: double x(x), y(y), a(y, x), b(y, x); ";
  const std::string names =
      "x:standard_name = \"projection_x_coordinate\"; y:standard_name = \"projection_y_coordinate\"; ";
  const std::string data = "data: x = 50, 150; y = 50, 150; a = 1, 2, 3, 4; b = 5, 6, 7, 8; }";
  folder.write("two.cdl", head + names + data);
  folder.write("nowhere.cdl", head + data);
  shell("ncgen -o two.nc two.cdl && ncgen -o nowhere.nc nowhere.cdl");
  expect_error("import terrain topo two.nc", 1,
               "which of its grids? One of NETCDF:\"two.nc\":a, NETCDF:\"two.nc\":b");
  expect_error("import terrain topo 'NETCDF:\"nowhere.nc\":b'", 1, "it does not tell where its cells lie");
  output_of("import terrain topo 'NETCDF:\"two.nc\":b'");
  EXPECT_EQ(behind(2, "topo"),
            "50.000 50.000 5.000\n150.000 50.000 6.000\n50.000 150.000 7.000\n150.000 150.000 8.000\n");
}

}  // namespace
}  // namespace velko
