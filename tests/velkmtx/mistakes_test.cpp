/// What velkmtx says of text files that it can't read, and of surveys that are hardly meant as they stand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/velkmtx/companion.h"

namespace velko {
namespace {

using testing::HasSubstr;

class Mistakes : public test::companion {
 protected:
  Mistakes() {
    folder.write("mesh", mesh);
    folder.write("loc", loc);
    folder.write("topo", topo);
  }

  static constexpr auto mesh = "4 3 2\n0 0 50\n4*10\n3*10\n2*5\n";
  static constexpr auto loc = "62 -4 52000\n62 -4 1\n2\n10 15 60\n20 15 60\n";
  static constexpr auto topo = "4\n-5 -5 45\n-5 35 45\n45 -5 45\n45 35 46\n";

  void expect_words_for(const std::string& file, const std::string& text, const std::string& words) const {
    folder.write(file, text);
    expect_error("make mesh topo loc g.mtx", 1, words + "\n");
  }
  void location(const std::string& text, const std::string& words) const {
    expect_words_for("loc", text, words);
  }
  void mesh_file(const std::string& text, const std::string& words) const {
    expect_words_for("mesh", text, words);
  }
  void topography(const std::string& text, const std::string& words) const {
    expect_words_for("topo", text, words);
  }

  /// The run succeeds, and warns with one line.
  void expect_warning(const std::string& words, const std::string& options = "") const {
    const test::program_run run = velkmtx("make mesh topo loc g.mtx --dense --quiet " + options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "velkmtx: " + words + "\n");
  }
  void data(const std::string& lines, const std::string& field = "62 -4 52000\n62 -4 1\n") const {
    folder.write("loc", field + std::to_string(std::count(lines.begin(), lines.end(), '\n')) + "\n" + lines);
  }
};

TEST_F(Mistakes, SensibleFilesGetNoWord) {
  EXPECT_EQ(velkmtx("make mesh topo loc g.mtx --dense --quiet").err, "");
}

TEST_F(Mistakes, LocationFileThatIsNoSuchFileIsToldByItsFirstWrongPlace) {
  location("62 -4 52000\n62 -4 1\n2\n10 15 60\n20 abc 60\n",
           ": line 5, column 4: 'abc' where y of datum 2 is wanted");
  location("62 -4 52000\n62 -4 1\n2\n10 15 60\n20 15\n", ": line 5 ends where z of datum 2 is wanted");
  location("62 -4 52000\n62 -4 1\n2\n10 15 60\n",
           ": the file ends where the line of datum 2 is wanted; line 3 promises 2 data, and lines for 1 are "
           "there");
  location("62 -4 52000\n62 -4 1\n2.5\n10 15 60\n",
           ": line 3, column 1: '2.5' where the number of data is wanted; three lines stand in front of the "
           "data, the "
           "field, what is measured, the number of data; is one of them missing?");
  location("62 -4 52000\n62 -4 1\n0\n", ": line 3: the number of data is 0");
  location("62 -4 52000\n62 -4 2\n1\n0 0 0\n",
           "line 2, column 7: '2' where idir, 0 or 1, is wanted; three lines stand in "
           "front of the data, the field, what is measured, the number of data; is one "
           "of them missing?");
  location("62 -4 52000\n0 0 0\n1\n10 15 60\n",
           ": line 4 ends where the inclination of datum 1 is wanted; with idir 0 a line begins with x y z "
           "inclination declination");
}

TEST_F(Mistakes, UsualCausesInALocationFileAreNamed) {
  location("x,y,z\n10,15,60\n",
           ": line 1, column 1: 'x' where the inclination of the inducing field is wanted; there is no "
           "line of headings in this file");
  location("# a survey\n62 -4 52000\n",
           ": line 1, column 1: '#' where the inclination of the inducing field is wanted; a "
           "comment is a line with ! in its first column");
  location(
      "\xef\xbb\xbf"
      "62 -4 52000\n",
      "where the inclination of the inducing field is wanted; a byte order mark stands in front; save the "
      "file "
      "without one, as plain UTF-8");
  location(std::string("\xff\xfe"
                       "6\0"
                       "2\0",
                       6),
           "; the file is UTF-16; save it as plain text");
  location("62 -4 52000\n62 -4 1\n1\n10;15;60\n",
           ": line 4, column 1: '10;15;60' where x of datum 1 is wanted; values stand "
           "between blanks or commas, not semicolons");
  location("62 -4 52000\n62 -4 1\n1\nL100 10 15 60\n",
           ": line 4, column 1: 'L100' where x of datum 1 is wanted; a data "
           "line begins with x y z: no names, no identifiers");
  location("2\n10 15 60\n20 15 60\n",
           ": line 1 ends where its declination is wanted; this is the short form, which begins with the "
           "number of data; two "
           "lines have to stand in front of it: inclination, declination and strength of the inducing field; "
           "inclination and "
           "declination of what is measured, and 1");
  location("62 -4 52000\n2\n10 15 60\n20 15 60\n",
           ": line 2 ends where its declination is wanted; three lines stand in front of the data, the "
           "field, what is "
           "measured, the number of data; is one of them missing?");
}

TEST_F(Mistakes, MeshFileIsToldByItsFirstWrongPlace) {
  mesh_file(
      "4 3 2\n0 0 50\n4*10\n10 wide 10\n2*5\n",
      "velkmtx: ERROR reading mesh file: mesh: line 4, column 4: 'wide' where width 2 along y is wanted");
  mesh_file("4 3 2\n0 0 50\n3*10\n3*10\n2*5\n",
            ": the file ends where width 3 along y is wanted; the first line promises 4 x 3 x 2 cells; a "
            "list of widths "
            "that is too short takes those of the next");
  mesh_file("! a mesh\n4 3 2\n",
            ": line 1, column 1: '!' where the number of cells along x is wanted; there are no comments "
            "in a mesh file");
  mesh_file("nx ny nz\n4 3 2\n",
            ": line 1, column 1: 'nx' where the number of cells along x is wanted; there is no line of "
            "headings in this file");
  mesh_file("4 3 2.0\n", ": line 1, column 5: '2.0' where the number of cells along z is wanted");
  mesh_file("4 3 2\n0 0 5O\n", ": line 2, column 5: '5O' where the elevation of the top is wanted");
}

TEST_F(Mistakes, TopographyFileIsToldByItsFirstWrongPlace) {
  topography("4\n-5 -5 45\n-5 35 45\n45 -5 4;5\n45 35 46\n",
             "velkmtx: ERROR reading topography file topo: line 4, column 7: '4;5' where the elevation of "
             "point 3 is wanted; "
             "values stand between blanks or commas, not semicolons");
  topography("5\n-5 -5 45\n-5 35 45\n45 -5 45\n45 35 46\n",
             ": the file ends where x of point 5 is wanted; the first line promises 5 points");
  topography("x y z\n1 2 3\n",
             "line 1, column 1: 'x' where the number of points is wanted; the number of points comes first; "
             "there is no line of headings");
  topography("! terrain\n1000.5 2000 30\n",
             "line 2, column 1: '1000.5' where the number of points is wanted; the first line has the number "
             "of points alone");
  topography("4\n-5 -5 45\n-5 nan 45\n45 -5 45\n45 35 46\n",
             ": line 3, column 4: 'nan' where y of point 2 is wanted; it has to be finite");
  for (const char* none : {"0\n", "! none\n-3\n"})
    topography(none, "velkmtx: Error: Topography is outside the mesh: the file has no points");
}

TEST_F(Mistakes, OtherSubcommandsExplainToo) {
  folder.write("loc", "62 -4 52000\n62 -4 1\n1\n10 15 x\n");
  expect_error("mesh out --cell 10 --locations loc", 1,
               ": line 4, column 7: 'x' where z of datum 1 is wanted\n");
  folder.write("topo", "2\n1 2 x\n");
  expect_error("mesh out --cell 10 --topography topo", 1,
               ": line 2, column 5: 'x' where the elevation of point 1 is wanted\n");
  folder.write("mesh", "4 3\n");
  expect_error("model mesh out", 1, ": the file ends where the number of cells along z is wanted\n");
}

TEST_F(Mistakes, FileThatIsNotThereNeedsNoExplanation) {
  expect_error("make mesh topo none g.mtx", 1, "velkmtx: ERROR: data file not found: none\n");
}

TEST_F(Mistakes, StationsBesideTheMeshAreTold) {
  data("10 15 60\n20 31 60\n");
  expect_warning(
      "1 of 2 stations lie beside the mesh, the first at (20, 31); it goes from 0 to 40 along x, from 0 to "
      "30 along "
      "y");
  data("512340 6012345 60\n512350 6012345 60\n");
  EXPECT_THAT(
      velkmtx("make mesh topo loc g.mtx --dense").err,
      HasSubstr("2 of 2 stations lie beside the mesh, the first at (512340, 6012345); it goes from 0 to 40 "
                "along x, "
                "from 0 to 30 along y; are these projected coordinates, over a mesh in local ones?\n"));
  data("-1.25 50 60\n-1.26 51 60\n");
  EXPECT_THAT(velkmtx("make mesh topo loc g.mtx --dense").err,
              HasSubstr("; are these longitudes and latitudes?\n"));
  data("1 1010 60\n2 1020 60\n3 1030 60\n4 1040 60\n");
  EXPECT_THAT(velkmtx("make mesh topo loc g.mtx --dense").err,
              HasSubstr("; x counts the lines: is there an identifier in the first column?\n"));
  data("5 35 60\n6 36 60\n");
  EXPECT_THAT(velkmtx("make mesh topo loc g.mtx --dense").err, HasSubstr("; are x and y swapped?\n"));
}

TEST_F(Mistakes, IdentifierIsSuspectedWhereNothingElseIsStrange) {
  data("7 10 65\n8 20 66\n9 10 67\n10 20 68\n");
  expect_warning("x counts the lines: is there an identifier in the first column?");
}

TEST_F(Mistakes, StationsFarAboveTheGroundAreTold) {
  data("10 15 1046\n20 15 1046\n");
  expect_warning("the stations lie 1001 above the ground on average, 200 times the height of a cell");
  folder.write("mesh", "4 3 2\n0 0 2000\n4*10\n3*10\n2*5\n");
  data("10 15 6600\n20 15 6600\n");
  const test::program_run run = velkmtx("make mesh null loc g.mtx --dense --quiet");
  EXPECT_EQ(
      run.err,
      "velkmtx: the stations lie 4600 above the ground on average, 920 times the height of a cell; are their "
      "elevations in feet?\n");
}

TEST_F(Mistakes, FieldsThatTheEarthHasNotAreTold) {
  const std::string stations = "10 15 60\n20 15 60\n";
  data(stations, "62 -4 520\n62 -4 1\n");
  expect_warning("the inducing field has 520 nT; that of the earth has 20000 to 70000");
  data(stations, "162 -4 52000\n62 -4 1\n");
  expect_warning("the inclination of the inducing field is 162 degrees, beyond 90");
  data(stations, "62 -4 52000\n-91 -4 1\n");
  expect_warning("the inclination that is measured is -91 degrees, beyond 90");
  data(stations, "62 -400 52000\n62 -4 1\n");
  expect_warning("the declination of the inducing field is -400 degrees, beyond 360");
  data("10 15 60 62 0\n20 15 60 95 0\n", "62 -4 52000\n0 0 0\n");
  expect_warning("the inclination of datum 2 is 95 degrees, beyond 90");
  for (const char* field : {"20000", "70000"}) {
    data(stations, std::string("90 -180 ") + field + "\n-90 360 1\n");
    EXPECT_EQ(velkmtx("make mesh topo loc g.mtx --dense --quiet").err, "");
  }
}

TEST_F(Mistakes, StationsThatRepeatAreTold) {
  data("10 15 60\n20 15 60\n10 15 60\n10 15 60\n");
  expect_warning("2 of 4 stations repeat an earlier one: datum 3 has the place of datum 1");
  data("10 15 60 62 0\n10 15 60 0 90\n", "62 -4 52000\n0 0 0\n");  // two components
  EXPECT_EQ(velkmtx("make mesh topo loc g.mtx --dense --quiet").err, "");
}

TEST_F(Mistakes, LinesBehindTheDataAreTold) {
  folder.write("loc", std::string(loc) + "! a remark\n\n30 15 60\n35 15 60\n");
  expect_warning(
      "loc has 2 more lines behind those of its 2 data; line 3 of those that are no comments is their "
      "number");
}

TEST_F(Mistakes, MeshThatIsPaddingForItsGreaterPartIsTold) {
  folder.write("mesh", "60 60 2\n-280 -285 50\n60*10\n60*10\n2*5\n");
  folder.write("topo", "4\n-500 -500 45\n-500 500 45\n500 -500 45\n500 500 46\n");
  const test::program_run run = velkmtx("make mesh topo loc g.mtx --dense --quiet");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.err, testing::MatchesRegex(
                           "velkmtx: 9[0-9] % of the mesh is farther than [0-9.]+ from all stations; fewer "
                           "and wider cells there would do\n"));
}

TEST_F(Mistakes, StationsInTheGroundAreAnErrorUnlessAskedFor) {
  data("10 15 60\n20 15 42\n");
  expect_error("make mesh null loc g.mtx", 1,
               "velkmtx: 1 of 2 data lie in or on a cell below the surface, the first is datum 2; "
               "--allow-buried takes them\n");
  const test::program_run run = velkmtx("make mesh null loc g.mtx --dense --quiet --allow-buried");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "velkmtx: 1 of 2 data lie in or on a cell below the surface, the first is datum 2\n");
}

TEST_F(Mistakes, DepthsGivenForElevationsAreSuspected) {
  folder.write("mesh", "4 3 2\n0 0 0\n4*10\n3*10\n2*50\n");
  data("10 15 -60\n20 15 -61\n");
  expect_error("make mesh null loc g.mtx", 1,
               "velkmtx: 2 of 2 data lie in or on a cell below the surface, the first is datum 1; are depths "
               "given for "
               "elevations?; --allow-buried takes them\n");
}

}  // namespace
}  // namespace velko
