/// velkmtx import stations: tables of several formats to location and data files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "files/data_file.h"
#include "store/state.h"
#include "tests/exchange/judges.h"

namespace velko {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pointwise;

constexpr auto three_stations =
    "line,lon,lat,height,mag,sigma\n"
    "A,-3,0,100,12.5,2\n"
    "A,-3.5,57.25,250.5,-7,3\n"
    "B,-2.75,56.5,80,1e2,1.5\n";

constexpr auto in_lengths =
    "line,x,y,h,mag\n"
    "L1,0,10,100,5\n"
    "L1,30,10,110,6\n"
    "L1,60,10,*,7\n"
    "L1,90,10,120,8\n"
    "L2,0,40,130,\n"
    "L2,90,40,140,9\n"
    "L2,90.0001,40,140,11\n";

constexpr auto columns = " --x x --y y --height h ";

class ImportStations : public test::exchange {
 protected:
  ImportStations() {
    folder.write("degrees.csv", three_stations);
    folder.write("lengths.csv", in_lengths);
  }

  /// x, y, z of the stations, by PROJ's own program.
  std::vector<double> projected(const std::string& from, const std::string& to,
                                const std::string& positions) const {
    return numbers(shell("gdaltransform -s_srs " + from + " -t_srs " + to, positions));
  }

  static constexpr auto degrees =
      "--x lon --y lat --height height --source-crs EPSG:4326 --crs EPSG:32630 --field 70,-3,50000";
};

TEST_F(ImportStations, LocationFileIsWrittenFromNamedColumns) {
  const std::string said =
      output_of("import stations loc lengths.csv" + std::string(columns) + "--field 70,-3.5,50000");
  EXPECT_EQ(folder.read("loc"),
            "70 -3.5 50000  inclination, declination, strength of the inducing field\n"
            "70 -3.5 1  inclination, declination of the component; idir\n"
            "5  number of data\n"
            "0.000 10.000 100.000\n"
            "30.000 10.000 110.000\n"
            "90.000 10.000 120.000\n"
            "0.000 40.000 130.000\n"
            "90.000 40.000 140.000\n");
  EXPECT_EQ(said,
            "loc: 5 stations of 7 records\n"
            "1 records left out: they lack a number\n"
            "1 averaged with another one at their place\n"
            "x from 0 to 90, y from 10 to 40, elevation from 100 to 140\n");
}

TEST_F(ImportStations, DataFileHasValuesAndErrors) {
  output_of("import stations obs lengths.csv" + std::string(columns) +
            "--value mag --error 2.5 --field 70,-3,50000 --direction 90,0");
  EXPECT_EQ(folder.read("obs"),
            "70 -3 50000  inclination, declination, strength of the inducing field\n"
            "90 0 1  inclination, declination of the component; idir\n"
            "4  number of data\n"
            "0.000 10.000 100.000 5 2.5\n"
            "30.000 10.000 110.000 6 2.5\n"
            "90.000 10.000 120.000 8 2.5\n"
            "90.000 40.000 140.000 10 2.5\n");
  store.ndata_mtx = 4;
  read_data_file(folder.path("obs"), true);
  EXPECT_THAT(survey.dobs.elements(), ElementsAre(2, 2.4, 3.2, 4));
  EXPECT_EQ(survey.aincl, 90);
  reset_state();
}

TEST_F(ImportStations, DegreesBecomeLengths) {
  output_of("import stations loc degrees.csv " + std::string(degrees));
  EXPECT_THAT(behind(3, "loc"),
              testing::StartsWith("500000.000 0.000 100.000\n"));  // where the zone has its origin
  EXPECT_THAT(numbers(behind(3, "loc")),
              Pointwise(DoubleNear(6e-4),
                        projected("EPSG:4326", "EPSG:32630", "-3 0 100\n-3.5 57.25 250.5\n-2.75 56.5 80\n")));
}

TEST_F(ImportStations, OriginIsTakenOff) {
  output_of("import stations loc degrees.csv --origin 400000,-5 " + std::string(degrees));
  EXPECT_THAT(behind(3, "loc"), testing::StartsWith("100000.000 5.000 100.000\n"));
}

TEST_F(ImportStations, TextTablesOfAllKindsAreTheSame) {
  output_of("import stations expected degrees.csv " + std::string(degrees));
  const auto with = [](char separator) {
    std::string text = three_stations;
    std::replace(text.begin(), text.end(), ',', separator);
    return text;
  };
  std::string quoted_words = three_stations;
  quoted_words.replace(quoted_words.find("A,-3,"), 5, "\"A\",\"-3\",");
  std::string line_ends;
  for (const char c : std::string(three_stations)) line_ends += c == '\n' ? "\r\n" : std::string(1, c);
  const std::map<std::string, std::string> tables{{"semicolons.csv", with(';')},
                                                  {"tabs.txt", with('\t')},
                                                  {"blanks.xyz", with(' ')},
                                                  {"quotes.csv", quoted_words},
                                                  {"mark.csv", "\xEF\xBB\xBF" + std::string(three_stations)},
                                                  {"line_ends.dat", line_ends}};
  for (const auto& [name, text] : tables) {
    folder.write(name, text);
    output_of("import stations loc " + name + " " + degrees);
    EXPECT_EQ(folder.read("loc"), folder.read("expected")) << name;
  }
}

TEST_F(ImportStations, PointsOfGeographicFilesBringPositionsAndSystem) {
  output_of("import stations expected degrees.csv --value mag --error sigma " + std::string(degrees));
  const std::string layout =
      " -a_srs EPSG:4326 -oo X_POSSIBLE_NAMES=lon -oo Y_POSSIBLE_NAMES=lat -oo "
      "Z_POSSIBLE_NAMES=height -oo AUTODETECT_TYPE=YES degrees.csv";
  for (const std::string name : {"s.geojson", "s.gpkg", "s.shp"}) {
    shell("ogr2ogr " + name + layout);
    output_of("import stations loc " + name +
              " --crs EPSG:32630 --value mag --error sigma --field 70,-3,50000");
    EXPECT_EQ(folder.read("loc"), folder.read("expected")) << name;
  }
}

TEST_F(ImportStations, NetcdfVariablesAreColumns) {
  folder.write(
      "s.cdl",
      "netcdf s { dimensions: n = 3; variables: double lon(n), lat(n), height(n); float mag(n); "
      "mag:_FillValue = -99.f; data: lon = -3, -3.5, -2.75; lat = 0, 57.25, 56.5; height = 100, 250.5, 80; "
      "mag = 12.5, -99, 100; }");
  shell("ncgen -o s.nc s.cdl");
  output_of(
      "import stations expected degrees.csv --where \"line <> 'A' OR CAST(lat AS FLOAT) = 0\" --value mag "
      "--error 4 " +
      std::string(degrees));
  output_of("import stations loc s.nc --value mag --error 4 " + std::string(degrees));
  EXPECT_EQ(folder.read("loc"), folder.read("expected"));
  EXPECT_THAT(folder.read("loc"), HasSubstr("\n2  number of data\n"));
}

TEST_F(ImportStations, AreaConditionAndSpacingChooseStations) {
  const auto chosen = [&](const std::string& options) {
    output_of("import stations loc lengths.csv" + std::string(columns) + "--field 70,-3,50000 " + options);
    return behind(3, "loc");
  };
  EXPECT_EQ(chosen("--extent 20,90,0,20"), "30.000 10.000 110.000\n90.000 10.000 120.000\n");
  EXPECT_EQ(chosen("--where \"line = 'L2'\""), "0.000 40.000 130.000\n90.000 40.000 140.000\n");
  EXPECT_EQ(chosen("--line line --spacing 60"),
            "0.000 10.000 100.000\n90.000 10.000 120.000\n0.000 40.000 130.000\n90.000 40.000 140.000\n");
}

TEST_F(ImportStations, HeightsAboveGroundStandOnTheTerrain) {
  folder.write("topo", "4\n-100 -100 0\n200 -100 300\n-100 200 0\n200 200 300\n");  // z = 100 + x
  output_of(
      "import stations loc lengths.csv --x x --y y --height 60 --above ground --terrain topo --field "
      "70,-3,50000");
  EXPECT_THAT(behind(3, "loc"),
              HasSubstr("0.000 10.000 160.000\n30.000 10.000 190.000\n60.000 10.000 220.000\n"));
}

TEST_F(ImportStations, HeightsAboveTheEllipsoidBecomeHeightsAboveTheSea) {
  output_of("import stations loc degrees.csv --above ellipsoid " + std::string(degrees));
  const auto by_proj =
      projected("EPSG:4979", "EPSG:4326+5773", "-3 0 100\n-3.5 57.25 250.5\n-2.75 56.5 80\n");
  const auto written = numbers(behind(3, "loc"));
  for (const std::size_t n : {2u, 5u, 8u}) EXPECT_NEAR(written[n], by_proj[n], 6e-4);
  EXPECT_LT(written[5], 250.5 - 40);  // the geoid lies 50 m above the ellipsoid in Scotland
}

TEST_F(ImportStations, WhatIsMissingIsNamed) {
  const auto expect = [&](const std::string& options, const std::string& words) {
    expect_error("import stations loc " + options + " --field 70,-3,50000", 1, words);
  };
  expect("absent.csv --x a --y b --height 1", "absent.csv: no such file");
  expect("lengths.csv --x easting --y y --height h",
         "no column is called 'easting'; its columns are line, x, y, h, mag");
  expect("lengths.csv --x line --y y --height h",
         "lengths.csv: record 1: its line is 'L1', which is no number");
  expect("lengths.csv",
         "it has no points; --x and --y tell the columns of the positions, of line, x, y, h, mag");
  expect("lengths.csv --x x --y y --height h --crs EPSG:32630",
         "names no coordinate system; --source-crs tells it");
  expect("degrees.csv --x lon --y lat --height height",
         "lon and lat are degrees; --source-crs EPSG:4326 with --crs EPSG:32630 (UTM zone 30 north)");
  expect("degrees.csv --x lon --y lat --height height --source-crs EPSG:4326",
         "it is in degrees; --crs tells");
  expect("degrees.csv --x lon --y lat --height height --source-crs EPSG:4326 --crs EPSG:4258",
         "no system of lengths");
  expect("degrees.csv --x lon --y lat --height height --source-crs EPSG:4326 --crs nonsense",
         "'nonsense' is no coordinate");
  expect("lengths.csv --x x --y y --height h --value mag --error 0", "an error of 0 in the column 0");
  expect("lengths.csv --x x --y y --height h --extent 500,600,0,9", "no station is left to write");
  expect("lengths.csv --x x --y y --height h --where \"no such\"", "the condition 'no such' cannot be read");
  folder.write("picture.csv", std::string("\x89PNG\r\n\x1a\n\0\0", 10));
  expect("picture.csv --x x --y y --height h", "picture.csv");
}

TEST_F(ImportStations, WrongCommandLinesAreRefused) {
  const std::string base = "import stations loc lengths.csv --x x --y y ";
  expect_error(base + "--height h", 2, "one of --field and --date");
  expect_error(base + "--field 70,-3,50000", 2, "--height is required");
  expect_error(base + "--height h --field 70,-3", 2, "'70,-3' is not INCL,DECL,NT");
  expect_error(base + "--height h --field 1,2,3 --value mag", 2, "--value requires --error");
  expect_error(base + "--height h --field 1,2,3 --above ground", 2, "belong together");
  expect_error(base + "--height h --field 1,2,3 --above ellipsoid", 2, "needs --crs");
  expect_error(base + "--height h --field 1,2,3 --above moon", 2, "moon");
}

TEST_F(ImportStations, OneLayerOfSeveralIsChosenByName) {
  shell("ogr2ogr two.gpkg lengths.csv -nln first && ogr2ogr -update two.gpkg degrees.csv -nln second");
  expect_error("import stations loc two.gpkg --x x --y y --height h --field 1,2,3", 1,
               "which of its layers? --layer tells; its layers are first, second");
  expect_error("import stations loc two.gpkg --layer third --x x --y y --height h --field 1,2,3", 1,
               "no layer is called 'third'");
  output_of("import stations loc two.gpkg --layer first --x x --y y --height h --field 1,2,3");
  EXPECT_THAT(folder.read("loc"), HasSubstr("\n5  number of data\n"));
}

TEST_F(ImportStations, LinesInPlaceOfPointsAreRefused) {
  folder.write(
      "l.geojson",
      R"({"type": "Feature", "properties": {}, "geometry": {"type": "LineString", "coordinates": [[0, 1], [2, 3]]}})");
  expect_error("import stations loc l.geojson --crs EPSG:32630 --field 1,2,3", 1,
               "is a LINESTRING; stations are points");
}

}  // namespace
}  // namespace velko
