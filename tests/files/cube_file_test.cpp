/// read_cube: a whole array from a file or a constant.
#include <vector>

#include "files/model_file.h"
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

/// A cube of the mesh ny 1, nx 2, nz 3.
class CubeFile : public test::mesh_text_reader {
 protected:
  void SetUp() override {
    text_reader::SetUp();
    set_mesh(1, 2, 3);
  }
  void set_mesh(i4 ny, i4 nx, i4 nz) {
    mesh_text_reader::set_mesh(ny, nx, nz);
    set_cube(nz, nx, ny);
  }
  void set_cube(i4 n1, i4 n2, i4 n3) {
    cube_ = owned_array3<r8>(n1, n2, n3);
    std::fill(cube_.begin(), cube_.end(), -77);
  }
  outcome read_name(const std::string& name) {
    return outcome_of([&] { read_cube(name, "reference  ", cube_, weights_, mesh.itop); });
  }
  outcome read(std::string_view text) { return read_name(file(text) + "   "); }

  std::string read_from_file() const { return "          reference was read from file: " + name_ + "\n"; }
  std::string end_error() const { return "\nERROR: end reached reading reference file " + name_ + "\n"; }
  std::string reading_error() const { return "\nERROR reading reference file " + name_ + "\n"; }
  std::string too_many() const { return "\nERROR: too many values in reference file " + name_ + "\n"; }

  owned_array3<r8> cube_;
  std::vector<r8> wtz_;
  std::optional<std::span<const r8>> weights_;
};

TEST_F(CubeFile, ValuesStandManyToALineAndAcrossLinesFirstIndexFastest) {
  set_mesh(2, 2, 2);
  EXPECT_THAT(read("1 2.5, 3\n\n4e-1\r\n5\t6 7\n8"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, 2.5, 3, 0.4, 5, 6, 7, 8));
  EXPECT_EQ(cube_(2, 1, 1), 2.5);
  EXPECT_EQ(cube_(1, 2, 1), 3);
  EXPECT_EQ(cube_(1, 1, 2), 5);
}

TEST_F(CubeFile, FileOfOneValuePerLineIsReadToo) {
  EXPECT_THAT(read("1\n2\n3\n4\n5\n6\n"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(CubeFile, RepeatFormWorksOverTheWholeArray) {
  EXPECT_THAT(read("1 4*0.5\n2"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, 0.5, 0.5, 0.5, 0.5, 2));
  EXPECT_THAT(read("900*3"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), Each(3));
}

TEST_F(CubeFile, NullValuesAndSlashLeaveElementsAsTheyWere) {
  EXPECT_THAT(read("1,,2 2*\n3/ words"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, -77, 2, -77, -77, 3));
  EXPECT_THAT(read("8 /"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(8, -77, 2, -77, -77, 3));
}

TEST_F(CubeFile, ExtentsAreThoseOfTheArrayAndNotOfTheMesh) {
  set_cube(2, 1, 1);
  EXPECT_THAT(read("1 2"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, 2));
}

TEST_F(CubeFile, NeedsNoActiveCells) {
  cells.ncell = 99;
  EXPECT_THAT(read("6*1"), Logs(read_from_file()));
}

TEST_F(CubeFile, TooFewValuesGiveTheEndMessage) {
  for (const char* text : {"", "1 2 3\n4 5\n", "5*1"})
    EXPECT_THAT(read(text), StopsAfter(end_error())) << text;
}

TEST_F(CubeFile, WordInPlaceOfAValueGivesTheReadMessage) {
  for (const char* text : {"1 two 3 4 5 6", "! 1\n6*1", "5*1 1e400", "2*x 4*1"})
    EXPECT_THAT(read(text), StopsAfter(reading_error())) << text;
}

TEST_F(CubeFile, ReadThatTheSystemRefusesIsABadValue) {
  name_ = test::unreadable_file;
  EXPECT_THAT(read_name(name_), StopsAfter(reading_error()));
}

TEST_F(CubeFile, OneValueMoreOnALaterLineStops) {
  for (const char* more : {"1", "/", ",", "3*"})
    EXPECT_THAT(read(std::string("6*1\n\n") + more), StopsAfter(too_many())) << more;
}

TEST_F(CubeFile, MoreValuesOnTheLastLineAndWordsBehindItAreNotNoticed) {
  EXPECT_THAT(read("6*1 7 8 9\n"), Logs(read_from_file()));
  EXPECT_THAT(read("6*1 7 8 9\nwords\n"), Logs(read_from_file()));
}

TEST_F(CubeFile, FileThatIsNotThereStopsWithTheLabel) {
  EXPECT_THAT(read_name("no/cube.sus "), StopsAfter("\n ERROR: reference file not found: no/cube.sus\n"));
  EXPECT_THAT(read_name("null"), StopsAfter("\n ERROR: reference file not found: null\n"));
}

TEST_F(CubeFile, ConstantFillsTheWholeArray) {
  set_cube(4, 4, 4);
  EXPECT_THAT(read_name("VALUE 0.01"), Logs("         reference was set to:  1.0000E-02\n"));
  EXPECT_THAT(cube_.elements(), Each(0.01));
}

TEST_F(CubeFile, ConstantWithoutANumberStops) {
  EXPECT_THAT(read_name("VALUE"), StopsAfter("\nERROR reading constant value for reference\nVALUE\n"));
  EXPECT_THAT(read_name("VALUE x"), StopsAfter("\nERROR reading constant value for reference\nVALUE x\n"));
}

TEST_F(CubeFile, WeightsGoToEveryCellBelowTheSurface) {
  mesh.itop(1, 1) = 1;
  mesh.itop(1, 2) = 2;
  wtz_ = {10, 100, 1000};
  weights_ = wtz_;
  EXPECT_THAT(read("1 2 3 4 5 6"), Logs(read_from_file()));
  EXPECT_THAT(cube_.elements(), ElementsAre(1, 20, 300, 4, 5, 6000));
}

TEST_F(CubeFile, WeightsOfAMeshInTheCornerOfALargerCube) {
  set_mesh(2, 1, 1);
  set_cube(2, 2, 2);
  wtz_ = {10, 100};
  weights_ = wtz_;
  EXPECT_THAT(read_name("VALUE 2"), Logs("         reference was set to:  2.0000E+00\n"));
  EXPECT_THAT(cube_.elements(), ElementsAre(20, 2, 2, 2, 200, 2, 2, 2));
}

TEST_F(CubeFile, WeightsOfAnotherSizeStopAfterTheWalk) {
  for (const std::size_t n : std::initializer_list<std::size_t>{0, 1, 4, 5, 7}) {
    wtz_.assign(n, 2);
    weights_ = wtz_;
    EXPECT_THAT(read_name("VALUE 1"), StopsWithText("idx1 /= size(wtz)")) << n;
  }
}

TEST_F(CubeFile, ReportsOfTheFileComeBeforeTheSizeOfTheWeights) {
  weights_ = wtz_;
  EXPECT_THAT(read("1\n"), StopsAfter(end_error()));
}

TEST_F(CubeFile, MeshWithoutCellsNeedsNoValuesAndNoWeights) {
  set_mesh(0, 2, 2);
  weights_ = wtz_;
  EXPECT_THAT(read(""), Logs(read_from_file()));
  wtz_ = {1};
  weights_ = wtz_;
  EXPECT_THAT(read(""), StopsWithText("idx1 /= size(wtz)"));
}

TEST_F(CubeFile, ReadWithoutItemsSkipsOneLine) {
  set_mesh(0, 2, 2);
  EXPECT_THAT(read("1 2 3\n"), Logs(read_from_file()));
  EXPECT_THAT(read("\n1\n"), StopsAfter(too_many()));
}

TEST_F(CubeFile, WeightedCubeSmallerThanTheMeshStops) {
  wtz_.assign(6, 1);
  weights_ = wtz_;
  for (const auto& [n1, n2, n3] : {std::array{2, 2, 1}, std::array{3, 1, 1}, std::array{3, 2, 0}}) {
    set_cube(n1, n2, n3);
    EXPECT_THAT(read_name("VALUE 1"), StopsWithText("the cube is smaller than the mesh"));
  }
}

TEST_F(CubeFile, SurfaceThatDoesNotFitTheMeshStopsWhereThereAreWeights) {
  mesh.itop(1, 2) = 4;
  EXPECT_THAT(read("6*1"), Logs(read_from_file()));
  weights_ = wtz_;
  EXPECT_THAT(read("6*1"), StopsWithText("itop outside 0..nz"));
}

}  // namespace
}  // namespace velko
