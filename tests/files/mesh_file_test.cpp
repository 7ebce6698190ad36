#include "files/mesh_file.h"

#include "tests/files/reader_fixture.h"

namespace velko {
namespace {

using test::outcome;
using test::outcome_of;
using test::Silent;
using test::StopsAfter;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class MeshFile : public test::text_reader {
 protected:
  outcome read(std::string_view text) {
    reset_state();
    return outcome_of([&, name = file(text)] { read_mesh_file(name + "  "); });
  }
  std::string reading_error() const { return "\nERROR reading mesh file: " + name_ + "\n"; }

  static void expect_small_mesh() {
    EXPECT_EQ(mesh.nx, 2);
    EXPECT_EQ(mesh.ny, 1);
    EXPECT_EQ(mesh.nz, 3);
    EXPECT_EQ(mesh.ztop, 55);
    EXPECT_THAT(mesh.dx.elements(), ElementsAre(10, 20));
    EXPECT_THAT(mesh.dy.elements(), ElementsAre(5));
    EXPECT_THAT(mesh.dz.elements(), ElementsAre(1, 2, 2));
    EXPECT_THAT(mesh.xnode.elements(), ElementsAre(100, 110, 130));
    EXPECT_THAT(mesh.ynode.elements(), ElementsAre(-7, -2));
    EXPECT_THAT(mesh.znode.elements(), ElementsAre(0, 1, 3, 5));
  }
};

TEST_F(MeshFile, LineForEachAxis) {
  EXPECT_THAT(read("2 1 3\n100 -7 55\n10 20\n5\n1 2 2\n"), Silent());
  expect_small_mesh();
}

TEST_F(MeshFile, WidthsOverSeveralLinesOrRepeatedGiveTheSameMesh) {
  EXPECT_THAT(read("2\n1,3\r\n100\n\n-7 55 junk\n10\n20\n5\n1 2*2 9\nno part of it"), Silent());
  expect_small_mesh();
}

TEST_F(MeshFile, FortyWidthsInOneWord) {
  EXPECT_THAT(read("40 1 1\n0 0 0\n40*25.0\n1\n1\n"), Silent());
  EXPECT_THAT(mesh.dx.elements(), testing::AllOf(testing::SizeIs(40), Each(25.0)));
  EXPECT_EQ(mesh.xnode(41), 1000);
}

TEST_F(MeshFile, EdgesAreRunningSums) {
  EXPECT_THAT(read("3 1 1\n0.1 0 0\n3*0.1\n1\n1\n"), Silent());
  EXPECT_EQ(mesh.xnode(4), ((0.1 + 0.1) + 0.1) + 0.1);
}

TEST_F(MeshFile, FileThatIsNotThereStopsWithTheLabelMesh) {
  EXPECT_THAT(outcome_of([] { read_mesh_file("no/mesh.msh  "); }),
              StopsAfter("\n ERROR: mesh file not found: no/mesh.msh\n"));
}

TEST_F(MeshFile, EndOfFileAndBadValueHaveOneMessage) {
  for (const char* text :
       {"", "2 1 3\n", "2 1\n", "2 1 3\n100 -7\n", "2 1 3.0\n", "2 1 3\n100 -7 top\n",
        "2 1 3\n100 -7 55\n10 20\n5\n1 2\n", "2 1 3\n100 -7 55\n10 x\n5\n1 2 2\n", "! mesh\n2 1 3\n"})
    EXPECT_THAT(read(text), StopsAfter(reading_error())) << text;
}

TEST_F(MeshFile, ReadThatTheSystemRefusesHasItToo) {
  name_ = test::unreadable_file;
  EXPECT_THAT(outcome_of([&] { read_mesh_file(name_); }), StopsAfter(reading_error()));
}

TEST_F(MeshFile, WidthListOneValueTooShortTakesFromTheNextAxisAndFailsAtTheEnd) {
  EXPECT_THAT(read("3 2 1\n0 0 0\n1 1\n2 2\n3\n"), StopsAfter(reading_error()));
}

TEST_F(MeshFile, WidthListOneValueTooLongShiftsNothingWhenItEndsItsLine) {
  EXPECT_THAT(read("2 1 3\n100 -7 55\n10 20 30\n5 6\n1 2 2 2\n"), Silent());
  expect_small_mesh();
}

TEST_F(MeshFile, WithoutCellsAlongAnAxisItsOnlyEdgeIsTheFirst) {
  for (const char* last_line : {"", "\n", "no widths\n"}) {
    EXPECT_THAT(read(std::string("1 1 0\n4 5 6\n1\n1\n") + last_line), Silent());
    EXPECT_THAT(mesh.znode.elements(), ElementsAre(0));
    EXPECT_THAT(mesh.dz.elements(), IsEmpty());
  }
}

TEST_F(MeshFile, NegativeCountGivesEmptyArrays) {
  EXPECT_THAT(read("-1 -5 -2147483648\n4 5 6\n\n\n\n"), Silent());
  EXPECT_EQ(mesh.nx, -1);
  for (const owned_array1<r8>* x : {&mesh.xnode, &mesh.ynode, &mesh.znode, &mesh.dx, &mesh.dy, &mesh.dz})
    EXPECT_THAT(x->elements(), IsEmpty());
}

TEST_F(MeshFile, NullWidthsAreZero) {
  EXPECT_THAT(read("3 1 1\n,,7\n1,,2\n/\n1*\n"), Silent());
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(0, 1, 1, 3));
  EXPECT_THAT(mesh.ynode.elements(), ElementsAre(0, 0));
}

TEST_F(MeshFile, HugeCountsInAShortFileFailAtOnce) {
  const outcome o = read("2147483647 1 1\n0 0 0\n");
  if (o.end.kind == stop_or_done::failed)  // a machine with less memory than the widths need
    EXPECT_THAT(o.end.text, testing::HasSubstr("out of memory"));
  else
    EXPECT_THAT(o, StopsAfter(reading_error()));
}

}  // namespace
}  // namespace velko
