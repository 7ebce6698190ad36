#include "files/active_cells.h"

#include <array>
#include <limits>
#include <numeric>

#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::Logs;
using test::outcome;
using test::outcome_of;
using test::StopsAfter;
using test::StopsWithText;
using testing::Each;
using testing::ElementsAre;

class ActiveCells : public test::mesh_text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    set_mesh(1, 2, 3);
  }
  static outcome resolve_name(const std::string& name) {
    return outcome_of([&] { get_active_cells(name, mesh.itop); });
  }
  outcome resolve(std::string_view text) { return resolve_name(file(text) + "  "); }

  std::string read_from_file() const { return "active cells were read from file: " + name_ + "\n"; }
  std::string end_error() const { return "\nERROR: end reached reading active cell file " + name_ + "\n"; }
  std::string reading_error() const { return "\nERROR reading active cell file " + name_ + "\n"; }
  std::string too_many() const { return "\nERROR: too many values in active cell file " + name_ + "\n"; }
};

const std::string counts_of_six =
    "                   # of cells: 2 x 1 x 3\n"
    "             total # of cells:       6\n";

TEST_F(ActiveCells, WithoutAFileAndWithoutAirAllCellsAreActive) {
  EXPECT_THAT(resolve_name("null"), Logs(counts_of_six + "        # of cells below topo:       6\n\n"));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(cells.ntotal, 6);
  EXPECT_EQ(cells.nbelow, 6);
  EXPECT_EQ(cells.ncell, 6);
  EXPECT_EQ(cells.ninactive, 0);
  EXPECT_EQ(cells.ninactive_inf, 0);
}

TEST_F(ActiveCells, CellsAboveTheSurfaceAreInactive) {
  mesh.itop(1, 1) = 1;
  mesh.itop(1, 2) = 3;
  EXPECT_THAT(resolve_name("null"), Logs(counts_of_six + "        # of cells below topo:       2\n"
                                                         "          # of inactive cells:       4\n\n"));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(0, 1, 2, 0, 0, 0));
  EXPECT_EQ(cells.ncell, cells.nbelow);
}

TEST_F(ActiveCells, ReportOfAMeshOfFortyByThirtyByTwenty) {
  set_mesh(30, 40, 20);
  for (i4 j = 1; j <= 40; ++j)
    for (i4 i = 1; i <= 15; ++i) mesh.itop(i, j) = 5;
  EXPECT_THAT(resolve_name("null"), Logs("                   # of cells: 40 x 30 x 20\n"
                                         "             total # of cells:   24000\n"
                                         "        # of cells below topo:   21000\n"
                                         "          # of inactive cells:    3000\n"
                                         "\n"));
}

TEST_F(ActiveCells, FileTakesCellsOutInTwoKinds) {
  EXPECT_THAT(resolve("1 0 -1\n-1 1 1\n"), Logs(read_from_file() + counts_of_six +
                                                "            # of active cells:       3\n"
                                                "        # of cells below topo:       6\n"
                                                "    # of inactive cells (inf):       2\n"
                                                "          # of inactive cells:       1\n\n"));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(1, 0, -1, -2, 2, 3));
  EXPECT_EQ(cells.ncell, 3);
  EXPECT_EQ(cells.ninactive, 1);
  EXPECT_EQ(cells.ninactive_inf, 2);
}

TEST_F(ActiveCells, SurfaceWinsOverTheFile) {
  mesh.itop(1, 1) = 2;
  EXPECT_THAT(resolve("1 -1 1 0 1 -1"), Logs(read_from_file() + counts_of_six +
                                             "            # of active cells:       2\n"
                                             "        # of cells below topo:       4\n"
                                             "    # of inactive cells (inf):       1\n"
                                             "          # of inactive cells:       3\n\n"));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(0, 0, 1, 0, 2, -1));
}

TEST_F(ActiveCells, ModelOrderIsYOutermostThenXThenDown) {
  set_mesh(2, 2, 2);
  mesh.itop(1, 2) = 1;  // column y 1, x 2
  resolve_name("null");
  EXPECT_EQ(cells.cell_map(2, 1, 1), 2);
  EXPECT_EQ(cells.cell_map(1, 2, 1), 0);
  EXPECT_EQ(cells.cell_map(2, 2, 1), 3);
  EXPECT_EQ(cells.cell_map(1, 1, 2), 4);
}

TEST_F(ActiveCells, RepeatFormGivesManyCells) {
  EXPECT_THAT(resolve("4*1, 2*-1"), testing::Field(&outcome::end, stop_or_done{}));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(1, 2, 3, 4, -1, -2));
}

TEST_F(ActiveCells, NullValuesAndSlashLeaveCellsInactive) {
  EXPECT_THAT(resolve("1,,1/"), testing::Field(&outcome::end, stop_or_done{}));
  EXPECT_THAT(cells.cell_map.elements(), ElementsAre(1, 0, 2, 0, 0, 0));
}

TEST_F(ActiveCells, OnlyTheFirstFourCharactersMakeTheNameNull) {
  for (const std::string name : {"null", "NULL", "nullcells.txt", "NULLxyz", "null    "})
    EXPECT_EQ(resolve_name(name).end, stop_or_done{}) << name;
  for (const std::string name : {"Null", "nul", " null", "NUll"})
    EXPECT_THAT(resolve_name(name), StopsAfter("\n ERROR: active cells file not found: " + name + "\n"));
}

TEST_F(ActiveCells, FewerValuesThanCellsGiveTheEndMessage) {
  EXPECT_THAT(resolve("1 1 1\n1 1\n"), StopsAfter(end_error()));
  EXPECT_THAT(resolve(""), StopsAfter(end_error()));
}

TEST_F(ActiveCells, ValueThatIsNoIntegerGivesTheReadMessage) {
  for (const char* text : {"1 1 1 1.0 1 1", "1 one", "! 1\n6*1", "1 1e0", "9999999999"})
    EXPECT_THAT(resolve(text), StopsAfter(reading_error())) << text;
}

TEST_F(ActiveCells, ReadThatTheSystemRefusesIsABadValue) {
  name_ = test::unreadable_file;
  EXPECT_THAT(resolve_name(name_), StopsAfter(reading_error()));
}

TEST_F(ActiveCells, OneValueMoreOnALaterLineStops) {
  EXPECT_THAT(resolve("6*1\n1\n"), StopsAfter(too_many()));
  EXPECT_THAT(resolve("6*1\n/\n"), StopsAfter(too_many()));
  EXPECT_THAT(resolve("6*1\n,\n"), StopsAfter(too_many()));
}

TEST_F(ActiveCells, MoreValuesOnTheLastLineAreNotNoticed) {
  EXPECT_EQ(resolve("6*1 1 1 1\n").end, stop_or_done{});
  EXPECT_EQ(resolve("9*1\nword").end, stop_or_done{});
}

TEST_F(ActiveCells, ValueOutsideMinusOneToOneStopsAlsoAboveTheSurface) {
  mesh.itop(1, 1) = 1;
  for (const char* text : {"2 5*1", "5*1 -2"})
    EXPECT_THAT(resolve(text),
                StopsAfter("\nERROR: values in the active cell file should be -1, 0 or 1.\n" + name_ + "\n"));
}

TEST_F(ActiveCells, TooManyValuesAreReportedBeforeABadOne) {
  EXPECT_THAT(resolve("2 5*1\n1\n"), StopsAfter(too_many()));
}

TEST_F(ActiveCells, NoActiveCellStopsAfterTheReport) {
  const outcome o = resolve("6*0");
  const std::string message = "\nERROR: all cells are inactive.\n";
  EXPECT_EQ(o.end, (stop_or_done{stop_or_done::stopped, ""}));
  EXPECT_EQ(o.console, message);
  EXPECT_EQ(o.log, read_from_file() + counts_of_six +
                       "            # of active cells:       0\n"
                       "        # of cells below topo:       6\n"
                       "          # of inactive cells:       6\n\n" +
                       message);
}

TEST_F(ActiveCells, MeshWithoutCellsHasNoActiveCell) {
  set_mesh(-2, 3, 4);
  const outcome o = resolve_name("null");
  EXPECT_EQ(o.console, "\nERROR: all cells are inactive.\n");
  EXPECT_EQ(o.log,
            "                   # of cells: 3 x -2 x 4\n"
            "             total # of cells:     -24\n"
            "            # of active cells:       0\n"
            "        # of cells below topo:     -24\n"
            "\n\nERROR: all cells are inactive.\n");
}

TEST_F(ActiveCells, CountTooWideForItsFieldIsARowOfAsterisks) {
  set_mesh(1, 1, 100000000);
  mesh.itop(1, 1) = 99999999;
  const outcome o = resolve_name("null");
  EXPECT_THAT(o.log, testing::HasSubstr("             total # of cells:********\n"));
  EXPECT_EQ(cells.ntotal, 100000000);
}

TEST_F(ActiveCells, SurfaceThatDoesNotFitTheMeshStops) {
  mesh.itop(1, 2) = 4;
  EXPECT_THAT(resolve_name("null"), StopsWithText("itop outside 0..nz"));
}

TEST_F(ActiveCells, WhatIsWrongWithTheFileIsToldBeforeTheSurface) {
  mesh.itop(1, 2) = 4;
  EXPECT_THAT(resolve_name("missing"), StopsAfter("\n ERROR: active cells file not found: missing\n"));
  EXPECT_THAT(resolve("1 1"), StopsAfter("\nERROR: end reached reading active cell file " + name_ + "\n"));
  EXPECT_THAT(resolve("100*1"), StopsWithText("itop outside 0..nz"));
}

TEST_F(ActiveCells, MeshBeyondTheMemoryOfTheMachineIsReported) {
  // As many cells as fit 32 bits take 8 GiB; a machine with more memory than that gives them.
  if (machine_memory() >= i8{4} * 2147483647) return;
  set_mesh(1, 1, 2147483647);
  EXPECT_THAT(resolve_name("null"), StopsAfter("\nMemory allocation error in: get_active_cells\n\n"));
}

TEST_F(ActiveCells, ReadActiveFileTakesTheExtentsOfTheArray) {
  owned_array3<i4> act(2, 1, 2);
  EXPECT_THAT(outcome_of([&, name = file("-1 0 1 1")] { read_active_file(name, act); }),
              Logs(read_from_file()));
  EXPECT_THAT(act.elements(), ElementsAre(-1, 0, 1, 1));
}

/// Values 1, 2, 3 ... of a grid of the mesh, in model order.
owned_array3<r8> numbered_grid() {
  owned_array3<r8> grid(mesh.nz, mesh.nx, mesh.ny);
  std::iota(grid.begin(), grid.end(), 1.0);
  return grid;
}

TEST_F(ActiveCells, InactiveValuesKeepTheGridBelowTheSurfaceAndAreZeroAboveIt) {
  mesh.itop(1, 1) = 1;
  mesh.itop(1, 2) = 2;
  resolve("1 0 -1 1 -1 1");
  EXPECT_THAT(outcome_of([] { store_inactive_values(numbered_grid(), mesh.itop); }), test::Silent());
  EXPECT_THAT(cells.inactive_values.elements(), ElementsAre(0, 2, 0, 0));
  EXPECT_THAT(cells.inactive_inf_values.elements(), ElementsAre(3));
}

TEST_F(ActiveCells, InactiveValuesStandInModelOrder) {
  set_mesh(2, 2, 2);
  resolve("0 -1 1 0 -1 -1 0 1");
  store_inactive_values(numbered_grid(), mesh.itop);
  EXPECT_THAT(cells.inactive_values.elements(), ElementsAre(1, 4, 7));
  EXPECT_THAT(cells.inactive_inf_values.elements(), ElementsAre(2, 5, 6));
}

TEST_F(ActiveCells, OneKindOfInactiveCellsLeavesTheOtherVectorEmpty) {
  resolve("5*1 -1");
  store_inactive_values(numbered_grid(), mesh.itop);
  EXPECT_THAT(cells.inactive_values.elements(), testing::IsEmpty());
  EXPECT_THAT(cells.inactive_inf_values.elements(), ElementsAre(6));
}

TEST_F(ActiveCells, WhereAllCellsAreActiveNothingIsStoredAndNothingLookedAt) {
  resolve_name("null");
  EXPECT_THAT(outcome_of([] { store_inactive_values({}, {}); }), test::Silent());
  EXPECT_EQ(cells.inactive_values.data(), nullptr);
  EXPECT_EQ(cells.inactive_inf_values.data(), nullptr);
}

TEST_F(ActiveCells, GridOfAnotherSizeStops) {
  resolve("5*1 0");
  for (const auto& [n1, n2, n3] : {std::array{2, 3, 1}, std::array{3, 2, 2}, std::array{3, 1, 1}}) {
    const owned_array3<r8> grid(n1, n2, n3);
    EXPECT_THAT(outcome_of([&] { store_inactive_values(grid, mesh.itop); }),
                StopsWithText("size(grid) /= nz x nx x ny"));
  }
}

TEST_F(ActiveCells, SurfaceOfAnotherSizeStopsTheStoreOfInactiveValues) {
  resolve("5*1 0");
  const owned_array2<i4> itop(2, 1);
  EXPECT_THAT(outcome_of([&] { store_inactive_values(numbered_grid(), itop); }),
              StopsWithText("size(itop) /= ny x nx"));
}

}  // namespace
}  // namespace velko
