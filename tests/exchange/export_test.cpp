/// velkmtx export: data and models in the formats of other programs, judged by GDAL's and netCDF's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/exchange/judges.h"

namespace velko {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pointwise;

constexpr auto header = "70 -3 50000\n70 -3 1\n";

class Export : public test::exchange {
 protected:
  /// Data on a grid of 4 x 3 stations, 20 and 50 apart, one of which is missing; value = x + 1000 y.
  void write_grid_of_data() const {
    std::ostringstream text;
    text << header << "11\n";
    for (const int y : {200, 250, 300})
      for (const int x : {500, 520, 540, 560})
        if (x != 540 || y != 250) text << x << ' ' << y << " 80 " << x + 1000 * y << '\n';
    folder.write("grid.vlk", text.str());
  }

  /// What GDAL sees of a raster at a place; "nan" where it has no value.
  std::string value_at(const std::string& raster, double x, double y) const {
    return shell("gdallocationinfo -valonly -geoloc " + raster + ' ' + std::to_string(x) + ' ' +
                 std::to_string(y));
  }
};

TEST_F(Export, TableHasEveryColumn) {
  folder.write("d.vlk", "70 -3 50000\n0 0 0\n2\n1 2 3.25 90 0 12.5\n4 5 6 0 45 -1e-3\n");
  EXPECT_EQ(output_of("export data d.vlk d.csv"), "d.csv: 2 stations\n");
  EXPECT_EQ(folder.read("d.csv"),
            "x,y,z,inclination,declination,value\n1,2,3.25,90,0,12.5\n4,5,6,0,45,-0.001\n");
}

TEST_F(Export, LocationsAloneAreATableToo) {
  folder.write("loc", std::string(header) + "1\n1 2 3\n");
  output_of("export data loc d.csv --origin 1000,2000");
  EXPECT_EQ(folder.read("d.csv"), "x,y,z\n1001,2002,3\n");
}

TEST_F(Export, TablesAndPointsComeBackAsTheSameDataFile) {
  folder.write("obs",
               "70 -3 50000  inclination, declination, strength of the inducing field\n"
               "70 -3 1  inclination, declination of the component; idir\n"
               "3  number of data\n"
               "500000.125 6300000.500 80.250 -12.75 2\n"
               "500100.000 6300020.000 90.000 1e-05 1.5\n"
               "500200.000 6300040.000 100.000 123456.789 3\n");
  output_of("export data obs o.csv");
  output_of(
      "import stations back o.csv --x x --y y --height z --value value --error error --field 70,-3,50000");
  EXPECT_EQ(folder.read("back"), folder.read("obs"));
  output_of("export data obs o.gpkg --crs EPSG:32630");
  output_of("import stations back o.gpkg --value value --error error --field 70,-3,50000 --crs EPSG:32630");
  EXPECT_EQ(folder.read("back"), folder.read("obs"));
}

TEST_F(Export, GeojsonIsInLongitudeAndLatitude) {
  folder.write("obs", std::string(header) + "1\n500000 0 80 7.5\n");
  output_of("export data obs o.geojson --crs EPSG:32630");
  const std::string seen = shell("ogrinfo -al -q o.geojson");
  EXPECT_THAT(seen, HasSubstr("POINT Z (-3 0 80)"));
  EXPECT_THAT(seen, HasSubstr("value (Real) = 7.5"));
}

TEST_F(Export, GeopackageIsWhatOgrReads) {
  folder.write("obs", std::string(header) + "2\n10 20 30 7.5 2\n40 50 60 -1 3\n");
  output_of("export data obs o.gpkg --crs EPSG:32630");
  EXPECT_EQ(shell("ogr2ogr -f CSV /vsistdout/ o.gpkg -lco GEOMETRY=AS_XYZ"),
            "X,Y,Z,value,error\n10,20,30,7.5,2\n40,50,60,-1,3\n");
  EXPECT_THAT(shell("ogrinfo -so -al o.gpkg"), HasSubstr("ID[\"EPSG\",32630]"));
  EXPECT_THAT(files(), ElementsAre("o.gpkg", "obs"));  // and nothing beside it
}

TEST_F(Export, StationsOnAGridBecomeThatGrid) {
  write_grid_of_data();
  for (const std::string name : {"map.tif", "map.nc"}) {
    EXPECT_EQ(output_of("export data grid.vlk " + name + " --crs EPSG:32630"),
              name + ": 4 x 3 nodes along x and y, 20 and 50 apart; 1 of them without a value\n");
    for (const int y : {200, 250, 300})
      for (const int x : {500, 520, 540, 560}) {
        const std::string seen = value_at(name, x, y);
        if (x == 540 && y == 250)
          EXPECT_THAT(seen, testing::StartsWith("nan")) << name;
        else
          EXPECT_EQ(numbers(seen), std::vector<double>{x + 1000.0 * y}) << name << x << ' ' << y;
      }
    const std::string about = shell("gdalinfo " + name);
    EXPECT_THAT(about, HasSubstr("Size is 4, 3"));
    EXPECT_THAT(about, HasSubstr("UTM zone 30N"));
  }
  EXPECT_THAT(shell("ncdump -h map.nc"), HasSubstr("double value(y, x)"));
}

TEST_F(Export, ScatteredStationsAreInterpolatedWithinTheirHull) {
  folder.write("d.vlk",
               std::string(header) +
                   "5\n0 0 50 0\n100 0 50 100\n0 100 50 1000\n100 100 50 1100\n37 41 50 447\n");  // x + 10 y
  expect_error("export data d.vlk map.tif", 1, "a spacing interpolates them");
  output_of("export data d.vlk map.tif --spacing 25 --origin 1000,0");
  for (const int y : {0, 25, 50, 75, 100})
    for (const int x : {0, 25, 50, 75, 100})
      EXPECT_THAT(numbers(value_at("map.tif", 1000 + x, y)), ElementsAre(DoubleNear(x + 10 * y, 1e-4)))
          << x << ' ' << y;
  folder.write("d.vlk", std::string(header) + "3\n0 0 50 0\n100 0 50 100\n0 100 50 1000\n");
  output_of("export data d.vlk half.tif --spacing 25");
  EXPECT_THAT(numbers(value_at("half.tif", 25, 25)), ElementsAre(DoubleNear(275, 1e-4)));
  EXPECT_THAT(value_at("half.tif", 75, 75), testing::StartsWith("nan"));
}

class ExportModel : public Export {
 protected:
  ExportModel() {
    folder.write("mesh", "3 2 4\n-10 5 100\n10 20 30\n7 8\n1 2 3 4\n");
    std::ostringstream values;
    for (int n = 0; n < 24; ++n) values << n / 16.0 << '\n';
    folder.write("model", values.str());
    folder.write("topo",
                 "4\n-100 -100 97.5\n200 -100 97.5\n-100 200 97.5\n200 200 97.5\n");  // two cells above it
  }
};

TEST_F(ExportModel, XyzHasTheCentresOfCellsBelowTheSurface) {
  output_of("export model mesh model m.xyz");
  EXPECT_THAT(folder.read("m.xyz"),
              testing::StartsWith("-5 8.5 99.5 0\n-5 8.5 98 0.0625\n-5 8.5 95.5 0.125\n-5 8.5 92 0.1875\n"
                                  "10 8.5 99.5 0.25\n"));
  output_of("export model mesh model m.csv --topography topo");
  EXPECT_THAT(folder.read("m.csv"),
              testing::StartsWith(
                  "x,y,elevation,susceptibility\n-5,8.5,95.5,0.125\n-5,8.5,92,0.1875\n10,8.5,95.5,0.375\n"));
}

TEST_F(ExportModel, NetcdfHasCoordinatesBoundsAndMissingAir) {
  output_of("export model mesh model m.nc --topography topo --crs EPSG:32630");
  const std::string dump = shell("ncdump -p 9,17 m.nc");
  EXPECT_THAT(dump, HasSubstr("double susceptibility(y, x, elevation)"));
  EXPECT_THAT(dump, HasSubstr(" x = -5, 10, 35 ;"));
  EXPECT_THAT(dump, HasSubstr(" elevation = 99.5, 98, 95.5, 92 ;"));
  EXPECT_THAT(dump, HasSubstr("x:bounds = \"x_bounds\""));
  EXPECT_THAT(dump, HasSubstr("  -10, 0,\n  0, 20,\n  20, 50 ;"));
  EXPECT_THAT(dump, HasSubstr("_, _, 0.125, 0.1875,\n  _, _, 0.375, 0.4375,"));
  EXPECT_THAT(dump, HasSubstr("susceptibility:grid_mapping"));
}

TEST_F(ExportModel, EachValueOfTheNetcdfIsThatOfTheModel) {
  output_of("export model mesh model m.nc");
  const std::string dump = shell("ncdump -v susceptibility m.nc");
  std::string values = dump.substr(dump.find("susceptibility =\n") + 17);
  std::replace_if(
      values.begin(), values.end(), [](char c) { return c == ',' || c == ';' || c == '}'; }, ' ');
  std::vector<double> expected;
  for (int n = 0; n < 24; ++n) expected.push_back(n / 16.0);
  EXPECT_EQ(numbers(values), expected);
}

TEST_F(ExportModel, SensitivityFileBringsItsSurface) {
  folder.write("loc", std::string(header) + "1\n5 10 104\n");
  output_of("make mesh topo loc g.mtx --quiet");
  output_of("export model g.mtx model a.xyz");
  output_of("export model mesh model b.xyz --topography topo");
  EXPECT_EQ(folder.read("a.xyz"), folder.read("b.xyz"));
  expect_error("export model g.mtx model c.xyz --topography topo", 1, "--topography is one too many");
}

TEST_F(ExportModel, WhatIsMissingIsNamed) {
  expect_error("export model mesh model m.vtk", 2, "'m.vtk' ends in none of .vtr, .nc, .xyz, .csv");
  expect_error("export data model d.png", 2, "'d.png' ends in none of");
  expect_error("export model absent model m.nc", 1, "absent");
  expect_error("export model mesh absent m.nc", 1, "absent");
  expect_error("export model mesh 'VALUE x' m.nc", 1, "VALUE x");
  expect_error("export model mesh model no/m.nc", 1, "no/m.nc");
  expect_error("export model mesh model no/m.vtr", 1, "no/m.vtr");
  expect_error("export model mesh model m.nc --crs nonsense", 1, "'nonsense' is no coordinate system");
  folder.write("loc", std::string(header) + "2\n5 10 200\n5 20 200\n");
  expect_error("export data loc d.tif", 1, "loc: it has no values to make a map of");
  folder.write("line", std::string(header) + "3\n5 10 200 1\n5 20 200 2\n5 40 200 3\n");
  expect_error("export data line d.tif --spacing 5", 1, "lie on one line");
  expect_error("export data line d.tif", 1, "do not lie on a grid");
  expect_error("export data line no/d.gpkg", 1, "no/d.gpkg");
  expect_error("export", 2, "A subcommand is required");
}

}  // namespace
}  // namespace velko
