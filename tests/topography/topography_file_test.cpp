#include "topography/topography_file.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>

#include "tests/support/little_memory.h"
#include "tests/topography/terrain.h"
#include "topography/node_sort.h"

namespace velko {
namespace {

using test::exact;
using test::FailsSaying;
using test::file_of;
using test::lines_of;
using test::outcome;
using test::outcome_of;
using test::point;
using test::Says;
using test::Silent;
using test::StopsAfter;
using test::StopsWithText;
using testing::Each;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/// Over the whole mesh, at one elevation.
std::vector<point> plateau(r8 elevation) {
  return {{-5, -5, elevation}, {45, -5, elevation}, {-5, 35, elevation}, {45, 36, elevation}};
}
const std::string plateau_lines = lines_of(plateau(85));

class TopographyFile : public test::topography_reader {
 protected:
  static void expect_plateau_at_85() {
    EXPECT_EQ(mesh.itop.extent(1), 3);
    EXPECT_EQ(mesh.itop.extent(2), 4);
    EXPECT_THAT(mesh.itop.elements(), Each(2));  // the second cell reaches from 90 to 80
  }
};

TEST_F(TopographyFile, PlateauTakesTheSameCellsOutOfAllColumns) {
  EXPECT_THAT(read("4\n" + plateau_lines), Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, SlopeTakesMoreOutWhereItIsLower) {
  // Elevation 105 - x: the lowest sample of a column is that of its eastern edge.
  EXPECT_THAT(read(file_of({{0, 0, 105}, {40, 0, 65}, {0, 30, 105}, {40, 30, 65}})), Silent());
  EXPECT_THAT(mesh.itop.elements(), ElementsAre(1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4));
}

TEST_F(TopographyFile, SlopeAlongYGoesAlongTheFirstIndex) {
  EXPECT_THAT(read(file_of({{0, 0, 105}, {40, 0, 105}, {0, 30, 75}, {40, 30, 75}})), Silent());
  EXPECT_THAT(mesh.itop.elements(), ElementsAre(1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3));
}

TEST_F(TopographyFile, NameThatBeginsWithNullOpensNoFileAndTakesNothingOut) {
  for (const char* name :
       {"null", "NULL", "null  ", "nullify.txt", "NULL/there/is/no/such/file", "nullNULL"}) {
    mesh.itop = {};
    EXPECT_THAT(outcome_of([&] { read_topography(name); }), Silent());
    EXPECT_THAT(mesh.itop.elements(), testing::AllOf(SizeIs(12), Each(0))) << name;
  }
}

TEST_F(TopographyFile, OnlyTwoFormsOfNullCount) {
  for (const char* name : {"Null", "nULL", "nul", " null", "./null"}) {
    mesh.itop = {};
    EXPECT_THAT(outcome_of([&] { read_topography(name); }),
                StopsAfter(std::string("\n ERROR: topography file not found: ") + name + "\n"));
  }
}

TEST_F(TopographyFile, FileThatIsNotThereStopsWithTheLabelTopography) {
  EXPECT_THAT(outcome_of([] { read_topography("no/topo.dat   "); }),
              StopsAfter("\n ERROR: topography file not found: no/topo.dat\n"));
}

TEST_F(TopographyFile, ExtentOfThePointsNeedsNoMesh) {
  const test::temporary_folder folder;
  const bounding_box box = read_extent_of_topography(folder.write("t", "! head\n3\n7 -2 1\n-5 9 2\n0 0 3\n"));
  EXPECT_THAT((std::vector{box.min_x, box.max_x, box.min_y, box.max_y}), ElementsAre(-5, 7, -2, 9));
}

TEST_F(TopographyFile, ExtentOfNoPointsIsTurnedInsideOut) {
  const test::temporary_folder folder;
  EXPECT_GT(read_extent_of_topography(folder.write("t", "0\n")).min_x, 0);
}

TEST_F(TopographyFile, SecondAllocationOfItopIsTheRunTimesOwnFailure) {
  EXPECT_THAT(read("4\n" + plateau_lines), Silent());
  EXPECT_THAT(outcome_of([&] { read_topography(name_); }), FailsSaying("itop is allocated already"));
  EXPECT_THAT(outcome_of([] { read_topography("null"); }), FailsSaying("itop is allocated already"));
  expect_plateau_at_85();
}

TEST_F(TopographyFile, CommentLinesAtTheHeadAreDropped) {
  EXPECT_THAT(read("! a survey\n!\n!!! 17\n4\n" + plateau_lines), Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, HeaderLinesLongerThan40CharactersCountAsOneLineEach) {
  const std::string long_comment = "! " + std::string(300, '9') + "\n";
  const std::string comment_of_40 = "!" + std::string(39, 'c') + "\r\n";
  EXPECT_THAT(read(long_comment + comment_of_40 + long_comment + "4 points" + std::string(100, '!') + "\n" +
                   plateau_lines),
              Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, NumberOfPointsIsReadFromTheFirst40Characters) {
  const std::string blanks_38(38, ' '), blanks_39(39, ' ');
  EXPECT_THAT(read(blanks_39 + "45678\n" + plateau_lines), Silent());
  expect_plateau_at_85();
  EXPECT_THAT(read(blanks_39 + "4.5\n" + plateau_lines), Silent());
  EXPECT_THAT(read(blanks_38 + "04567\r\n" + plateau_lines), Silent());
  EXPECT_THAT(read(blanks_39 + " 4\n" + plateau_lines), FailsSaying("no number of points"));
}

TEST_F(TopographyFile, WhatFollowsTheNumberOfPointsOnItsLineIsIgnored) {
  for (const char* line : {"4 points", "4,5", "4/", "\t4\t7 7 7", "1*4", "+4 !"}) {
    EXPECT_THAT(read(std::string(line) + "\n" + plateau_lines), Silent()) << line;
    expect_plateau_at_85();
  }
}

TEST_F(TopographyFile, LinesMayEndWithACarriageReturnToo) {
  std::string text = "! comment\n4\n" + plateau_lines;
  for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 2)) text.insert(at, "\r");
  EXPECT_THAT(read(text), Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, WithoutANumberOfPointsTheRunTimeFails) {
  for (const char* text : {"", "!", "! only\n! comments\n", "\n4\n", "   \n4\n", " ! 4\n4\n", "four\n",
                           "4.0\n", "4e0\n", "4!\n", "2147483648\n"})
    EXPECT_THAT(read(text), FailsSaying("no number of points in the topography file " + name_)) << text;
}

TEST_F(TopographyFile, ReadOfTheHeaderThatTheSystemRefusesIsTheRunTimesOwnFailure) {
  EXPECT_THAT(outcome_of([] { read_topography(test::unreadable_file); }),
              FailsSaying("cannot read an input file"));
}

TEST_F(TopographyFile, PointMayRunOverSeveralLinesAndWhatFollowsItsThirdValueIsSkipped) {
  EXPECT_THAT(read("4\n-5\n-5\n85 junk\n\n45, -5\r\n85\n\n-5 35 85, 1 2 3\n45 36 8.5D1 ! last"), Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, ExampleOfTheFormatPageReads) {
  std::ifstream page(FORMAT_PAGE);
  std::string line, example;
  while (std::getline(page, line))
    if (line.starts_with("    ")) example += line.substr(4) + '\n';
  set_mesh({1000, 1100, 1300}, {2000, 2300}, {0, 10, 20}, 60);
  EXPECT_THAT(triangulated(example), IsSupersetOf({point{1000, 2000, 41.5}, point{1305.5, 2295, 36}}));
}

TEST_F(TopographyFile, ValuesBehindTheLastPointAreNotRead) {
  EXPECT_THAT(read("4\n" + plateau_lines + "these are no points\n1 2\n"), Silent());
  expect_plateau_at_85();
}

TEST_F(TopographyFile, NullValuesAndASlashLeaveZeros) {
  EXPECT_THAT(triangulated("4\n,5,7\n40 /\n2*,8\n40 30 3*9\n"),
              UnorderedElementsAre(point{0, 5, 7}, point{40, 0, 0}, point{0, 0, 8}, point{40, 30, 9}));
}

TEST_F(TopographyFile, EndOfFileAndBadValuesInAPointStopWithTheReadingError) {
  for (const char* text : {"1", "1\n", "1\n1 2", "1\n1\n2\n", "2\n1 2 3\n", "1\n1 2 high\n",
                           "1\n! comment\n1 2 3\n", "1\n1 2 3!\n", "1\n1;2;3\n", "1\n1e999 2 3\n"})
    EXPECT_THAT(read(text), StopsAfter(reading_error())) << text;
}

TEST_F(TopographyFile, ValuesThatAreNotFiniteStopWithTheReadingError) {
  for (const char* line : {"nan 2 3", "1 nan 3", "1 2 NaN", "inf 2 3", "1 -inf 3", "1 2 Infinity"})
    EXPECT_THAT(read("5\n" + plateau_lines + line + "\n"), StopsAfter(reading_error())) << line;
}

TEST_F(TopographyFile, BoxThatOnlyTouchesAnEdgeOfTheMeshIsOutside) {
  for (const auto& [dx, dy] : {std::array{-30.0, 0.0}, {30.0, 0.0}, {0.0, -25.0}, {0.0, 25.0}, {1e6, 1e6}})
    EXPECT_THAT(read(file_of({{10 + dx, 5 + dy, 1}, {30 + dx, 10 + dy, 1}, {20 + dx, 25 + dy, 1}})),
                StopsAfter(outside));
}

TEST_F(TopographyFile, BoxThatReachesBeyondAnEdgeByTheLeastIsNotOutside) {
  const r8 just_below_40 = std::nextafter(40.0, 0.0), just_below_30 = std::nextafter(30.0, 0.0),
           tiny = 1e-300;
  EXPECT_THAT(read(file_of({{just_below_40, 5, 1}, {60, 5, 1}, {50, 25, 1}})), Says(small));
  EXPECT_THAT(read(file_of({{-20, 5, 1}, {tiny, 5, 1}, {-10, 25, 1}})), Says(small));
  EXPECT_THAT(read(file_of({{5, just_below_30, 1}, {35, 40, 1}, {20, 50, 1}})), Says(small));
  EXPECT_THAT(read(file_of({{5, -10, 1}, {35, -20, 1}, {20, tiny, 1}})), Says(small));
}

TEST_F(TopographyFile, NoPointsOrANegativeNumberOfThemLieOutside) {
  for (const char* text : {"0", "0\n1 2 3\n", "-1\n", "-2147483648\nnot read\n", "/\n", ",5\n"})
    EXPECT_THAT(read(text), StopsAfter(outside)) << text;
}

TEST_F(TopographyFile, ShareBelowThreeTenthsIsWarnedOfAndTheRunGoesOn) {
  set_mesh({0, 10}, {0, 1}, {0, 10, 20, 30, 40}, 100);
  const auto points_up_to = [](r8 x) { return file_of({{0, 0, 85}, {x, 0, 85}, {x, 1, 85}}); };
  EXPECT_THAT(read(points_up_to(std::nextafter(3.0, 0.0))), Says(small));
  EXPECT_THAT(mesh.itop.elements(), ElementsAre(2));
}

TEST_F(TopographyFile, ShareOfExactlyThreeTenthsIsNotWarnedOf) {
  set_mesh({0, 10}, {0, 1}, {0, 10, 20, 30, 40}, 100);
  EXPECT_THAT(read(file_of({{0, 0, 85}, {3, 0, 85}, {3, 1, 85}})), Silent());
  EXPECT_THAT(read(file_of({{-7, -1, 85}, {3, 0, 85}, {3, 5, 85}})),
              Silent());  // counts inside the mesh only
  EXPECT_THAT(read(file_of({{7, 0, 85}, {12, 0, 85}, {12, 1, 85}})), Silent());
}

/// Over a square whose sides are powers of two, a level surface is level to the last bit.
TEST_F(TopographyFile, LevelSurfaceTakesOutTheCellsWhoseTopEdgeIsAboveIt) {
  set_mesh({0, 4, 8}, {0, 2, 8}, {0, 10, 20, 30, 40}, 100);
  const auto itop_at = [&](r8 z) {
    EXPECT_THAT(read(file_of({{0, 0, z}, {8, 0, z}, {0, 8, z}, {8, 8, z}})), Silent());
    EXPECT_THAT(mesh.itop.elements(), testing::AllOf(SizeIs(4), Each(mesh.itop(1, 1)))) << z;
    return mesh.itop(1, 1);
  };
  EXPECT_EQ(itop_at(1e15), 0);
  EXPECT_EQ(itop_at(100), 0);  // the top of the mesh
  EXPECT_EQ(itop_at(std::nextafter(100.0, 0.0)), 1);
  EXPECT_EQ(itop_at(80), 2);  // the top edge of the third cell, which stays
  EXPECT_EQ(itop_at(std::nextafter(80.0, 0.0)), 3);
  EXPECT_EQ(itop_at(60), 4);  // the bottom of the mesh
  EXPECT_EQ(itop_at(-1e15), 4);
}

TEST_F(TopographyFile, TwoPointsLeaveTheSurfaceAtZero) {
  set_mesh({0, 10, 20, 30, 40}, {0, 10, 20, 30}, {0, 10, 20, 30, 40}, 15);  // edges at 15, 5, -5, ...
  EXPECT_THAT(read(file_of({{0, 0, 500}, {40, 30, 500}})), Silent());
  EXPECT_THAT(mesh.itop.elements(), Each(2));
}

/// In a mesh with a width below 0 its first cell can be larger than all of it, so that one point is near all corners.
TEST_F(TopographyFile, OnePointLeavesTheSurfaceAtZero) {
  set_mesh({0, 100, 10}, {0, 100, 10}, {0, 10, 20, 30, 40}, 15);
  EXPECT_THAT(read(file_of({{5, 5, 500}})), Says(small));
  EXPECT_THAT(mesh.itop.elements(), testing::AllOf(SizeIs(4), Each(2)));
}

TEST_F(TopographyFile, PointsOnOneLineStop) {
  EXPECT_THAT(read(file_of({{0, 0, 1}, {40, 30, 1}, {20, 15, 7}})), StopsAfter(collinear));
  // Not even an area, so the warning comes first.
  EXPECT_THAT(read(file_of({{0, 15, 1}, {10, 15, 1}, {40, 15, 7}, {30, 15, 1}})),
              StopsAfter(std::string(small) + collinear));
  EXPECT_THAT(read(file_of({{20, 0, 1}, {20, 10, 1}, {20, 30, 7}})),
              StopsAfter(std::string(small) + collinear));
}

class Duplicates : public TopographyFile {
 protected:
  static std::string line_of(const std::string& x, const std::string& y) {
    return " " + std::string(16 - x.size(), ' ') + x + std::string(16 - y.size(), ' ') + y + "\n";
  }
  static std::string report_of(int count, const std::string& lines) {
    return "\nDuplicate points:\n" + lines + "\nError: " + std::to_string(count) +
           " duplicate points found in topography file.\n\n";
  }

  /// The report as the search comes upon its pairs: each point against all before it at the same y.
  std::string report_of_search(const std::vector<point>& points) {
    const auto n = static_cast<i4>(points.size());
    owned_array1<r8> tx(n), ty(n), tz(n);
    owned_array1<i4> ind(n);
    for (i4 i = 1; i <= n; ++i) {
      tx(i) = points[static_cast<std::size_t>(i - 1)][0];
      ty(i) = points[static_cast<std::size_t>(i - 1)][1];
    }
    reorder_nodes(n, 3, ty, tx, tz, ind);
    std::string lines;
    int count = 0;
    for (i4 i = 2, s = 1; i <= n; ++i) {
      if (ty(i) != ty(i - 1)) s = i;
      for (i4 m = s; m < i; ++m)
        if (tx(i) == tx(m)) {
          ++count;
          char text[40];
          std::snprintf(text, sizeof text, " %16.8E%16.8E\n", tx(i), ty(i));
          lines += text;
        }
    }
    return count > 0 ? report_of(count, lines) : "";
  }
};

TEST_F(Duplicates, PairIsListedWithXFirst) {
  EXPECT_THAT(read("5\n" + plateau_lines + "-5 35 85\n"),
              StopsAfter("\nDuplicate points:\n"
                         "  -5.00000000E+00  3.50000000E+01\n"
                         "\nError: 1 duplicate points found in topography file.\n\n"));
}

/// The two channels share a file here.
TEST_F(Duplicates, EveryPieceGoesToTheConsoleAndToTheLogBeforeTheNext) {
  std::FILE* both = std::tmpfile();
  console().send_to(both);
  log_file().send_to(both);
  const std::string name = file("5\n" + plateau_lines + "-5 35 85\n");
  EXPECT_EQ(run_until_stop([&] { read_topography(name); }).kind, stop_or_done::stopped);
  console().send_to(stdout);
  log_file().close();
  std::rewind(both);
  std::string text;
  for (int c; (c = std::fgetc(both)) != EOF;) text += static_cast<char>(c);
  std::fclose(both);
  const std::string pair = line_of("-5.00000000E+00", "3.50000000E+01"),
                    count = "Error: 1 duplicate points found in topography file.\n";
  EXPECT_EQ(text,
            "\n\nDuplicate points:\nDuplicate points:\n" + pair + pair + "\n\n" + count + count + "\n\n");
}

TEST_F(Duplicates, AreTakenByTheirTwoCoordinatesAlone) {
  EXPECT_THAT(read("5\n" + plateau_lines + "-5 35 1e5\n"),
              StopsAfter(report_of(1, line_of("-5.00000000E+00", "3.50000000E+01"))));
}

TEST_F(Duplicates, ThreePointsAtOnePlaceAreThreePairs) {
  const std::string line = line_of("1.23456789E+01", "1.00000000E-07");
  EXPECT_THAT(read("7\n12.3456789 1e-7 1\n" + plateau_lines + "12.3456789 1e-7 2\n12.3456789 1e-7 3\n"),
              StopsAfter(report_of(3, line + line + line)));
}

TEST_F(Duplicates, ZerosOfEitherSignAreOnePlace) {
  EXPECT_THAT(read("6\n0 -0.0 1\n-0.0 0 1\n" + plateau_lines),
              StopsAfter(report_of(1, line_of("0.00000000E+00", "0.00000000E+00"))));
}

TEST_F(Duplicates, PointsThatAreNearlyAtOnePlaceAreNone) {
  EXPECT_THAT(read("6\n" + plateau_lines + "10 " + exact(std::nextafter(10.0, 11.0)) + " 85\n10 10 85\n"),
              Silent());
  EXPECT_THAT(read("6\n" + plateau_lines + exact(std::nextafter(10.0, 11.0)) + " 10 85\n10 10 85\n"),
              Silent());
}

TEST_F(Duplicates, PointsAtOneXOrOneYAreNone) {
  EXPECT_THAT(read("8\n" + plateau_lines + "10 10 85\n20 10 85\n10 20 85\n20 20 85\n"), Silent());
}

TEST_F(Duplicates, AreListedInTheOrderInWhichTheSearchMeetsThem) {
  std::mt19937 random(11);
  const auto below = [&](unsigned n) { return static_cast<r8>(random() % n); };
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<point> points = plateau(85);
    const auto rows = 1 + trial % 7;
    for (int i = 0; i < 5 + trial % 60; ++i)
      points.push_back({below(20), below(static_cast<unsigned>(rows)), below(3)});
    const std::string expected = report_of_search(points);
    const outcome o = read(file_of(points));
    EXPECT_EQ(o.console, expected);
    EXPECT_EQ(o.log, expected);
    EXPECT_EQ(o.end.kind, expected.empty() ? stop_or_done::done : stop_or_done::stopped);
  }
}

TEST_F(Duplicates, AreFoundAmongHundredsOfThousandsOfPointsAtOneY) {
  std::string text = "200002\n";
  for (int i = 0; i <= 200000; ++i) text += exact(1e-4 * i) + " 5 80\n";
  EXPECT_THAT(read(text + exact(1e-4 * 70000) + " 5 80\n"),
              StopsAfter(std::string(small) + report_of(1, line_of("7.00000000E+00", "5.00000000E+00"))));
}

TEST_F(TopographyFile, FailuresComeInTheOrderOfTheSteps) {
  const std::string twins_on_a_line = "0 15 1\n40 15 1\n40 15 1\n";
  EXPECT_THAT(read("4\n" + twins_on_a_line + "x"), StopsAfter(reading_error()));
  EXPECT_THAT(read("3\n0 -15 1\n40 -15 1\n40 -15 1\n"), StopsAfter(outside));
  EXPECT_THAT(read("3\n" + twins_on_a_line),
              StopsAfter(std::string(small) + "\nDuplicate points:\n   4.00000000E+01  1.50000000E+01\n"
                                              "\nError: 1 duplicate points found in topography file.\n\n"));
}

TEST_F(TopographyFile, WhatIsWrongWithTheHeadOfTheFileIsToldBeforeTheMesh) {
  mesh.nx = 3;
  EXPECT_THAT(outcome_of([] { read_topography("missing"); }),
              StopsAfter("\n ERROR: topography file not found: missing\n"));
  EXPECT_THAT(read("no number\n"), FailsSaying("no number of points"));
  EXPECT_THAT(read("1\nno point\n"), StopsWithText("size(xnode) /= nx + 1"));
}

TEST_F(TopographyFile, HugeNumbersOfPointsInAShortFileFailAtOnce) {
  for (const char* n : {"2147483647", "2147483644", "357913939"})
    EXPECT_THAT(read(std::string(n) + "\n1 2 3\n"), FailsSaying("too many points to triangulate"));
  const outcome most = read("357913938\n1 2 3\n");
  if (most.end.kind == stop_or_done::failed)  // a machine with less memory than the tables need
    EXPECT_THAT(most, FailsSaying("out of memory"));
  else
    EXPECT_THAT(most, StopsAfter(reading_error()));
}

#if !defined(VELKO_SANITIZED)
TEST_F(TopographyFile, NoRoomForThePointsIsTheRunTimesOwnFailure) {
  const std::string name = file("67108864\n1 2 3\n");  // three arrays of 512 MiB and more
  outcome o;
  {
    const test::little_memory limit(i8{800} << 20);
    o = outcome_of([&] { read_topography(name); });
  }
  EXPECT_THAT(o, FailsSaying("out of memory: 536870944 bytes refused"));
}
#endif

/// Coordinates and elevations of all sizes, whose products overflow or vanish: whatever becomes of them, it is an end.
TEST_F(TopographyFile, AnyFinitePointsEndInAReportOrASurface) {
  constexpr std::array<r8, 16> sizes{0,     1,      -1,     0.1,   0.3,    3,       1e15,   -1e15,
                                     1e154, 1e-160, 1e-310, 1e308, -1e308, 1.7e308, 5e-324, -5e-324};
  std::mt19937 random(8);
  const auto any = [&] { return sizes[random() % sizes.size()]; };
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<point> points(random() % 12);
    for (point& p : points) p = {any(), any(), any()};
    set_mesh({any(), any(), any()}, {any(), any()}, {0, any(), any()}, any());
    const outcome o = read(file_of(points));
    EXPECT_NE(o.end.kind, stop_or_done::failed) << o.end.text;
    EXPECT_THAT(mesh.itop.elements(), Each(testing::AllOf(testing::Ge(0), testing::Le(2))));
  }
}

TEST_F(TopographyFile, MeshThatCannotCarryASurfaceStopsWithAText) {
  const auto text = [&] { return read("4\n" + plateau_lines); };
  mesh.nx = 3;
  EXPECT_THAT(text(), StopsWithText("size(xnode) /= nx + 1"));
  mesh.nx = 4;
  mesh.ny = 4;
  EXPECT_THAT(text(), StopsWithText("size(ynode) /= ny + 1"));
  mesh.ny = 3, mesh.nz = 3;
  EXPECT_THAT(text(), StopsWithText("size(znode) /= nz + 1"));
  mesh.ny = 0;
  EXPECT_THAT(text(), StopsWithText("the mesh has no columns"));
  set_mesh({0, NAN, 20}, {0, 10}, {0, 10}, 100);
  EXPECT_THAT(text(), StopsWithText("xnode is not finite"));
  set_mesh({0, 10, 20}, {0, INFINITY}, {0, 10}, 100);
  EXPECT_THAT(text(), StopsWithText("ynode is not finite"));
}

}  // namespace
}  // namespace velko
