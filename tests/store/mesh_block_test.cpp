#include "store/mesh_block.h"

#include <gmock/gmock.h>

#include "reports/channel.h"
#include "store/state.h"
#include "tests/support/fresh_problem.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MeshBlock : public testing::Test {
 protected:
  void open_record(const std::vector<r8>& values) {
    ASSERT_TRUE(in_.open(folder_.write("mesh", test::framed(test::bytes_of(values)))));
  }
  test::fresh_problem problem_;
  test::temporary_folder folder_;
  record_reader in_;
};

TEST_F(MeshBlock, EdgesComeYThenXThenZAndGiveTheWidths) {
  open_record({0, 1, 3, /**/ 10, 14, /**/ 0, 2, 5, 9, /**/ 250.5});
  ASSERT_TRUE(read_mesh_block(&in_, 2, 1, 3));
  EXPECT_EQ(mesh.ny, 2);
  EXPECT_EQ(mesh.nx, 1);
  EXPECT_EQ(mesh.nz, 3);
  EXPECT_THAT(mesh.ynode.elements(), ElementsAre(0, 1, 3));
  EXPECT_THAT(mesh.xnode.elements(), ElementsAre(10, 14));
  EXPECT_THAT(mesh.znode.elements(), ElementsAre(0, 2, 5, 9));
  EXPECT_THAT(mesh.dy.elements(), ElementsAre(1, 2));
  EXPECT_THAT(mesh.dx.elements(), ElementsAre(4));
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(2, 3, 4));
  EXPECT_EQ(mesh.ztop, 250.5);
}

TEST_F(MeshBlock, WithoutAFileOnlyTheCountsAreStoredAndNoArrayIsAllocated) {
  EXPECT_TRUE(read_mesh_block(nullptr, 4, 5, 6));
  EXPECT_EQ(mesh.ny, 4);
  EXPECT_EQ(mesh.nx, 5);
  EXPECT_EQ(mesh.nz, 6);
  for (const owned_array1<r8>* x : {&mesh.ynode, &mesh.xnode, &mesh.znode, &mesh.dy, &mesh.dx, &mesh.dz})
    EXPECT_EQ(x->data(), nullptr);
}

TEST_F(MeshBlock, WithoutAFileCountsOfAnySignAreStored) {
  EXPECT_TRUE(read_mesh_block(nullptr, -1, 0, 2147483647));
  EXPECT_EQ(mesh.ny, -1);
  EXPECT_EQ(mesh.nx, 0);
  EXPECT_EQ(mesh.nz, 2147483647);
}

TEST_F(MeshBlock, FirstDepthStaysAsStored) {
  open_record({0, 1, /**/ 0, 1, /**/ 7, 9, /**/ 0});
  ASSERT_TRUE(read_mesh_block(&in_, 1, 1, 1));
  EXPECT_THAT(mesh.znode.elements(), ElementsAre(7, 9));
}

TEST_F(MeshBlock, DecreasingDepthsGiveNegativeWidthsWithoutComplaint) {
  open_record({0, 1, /**/ 0, 1, /**/ 0, -2, -5, /**/ 0});
  ASSERT_TRUE(read_mesh_block(&in_, 1, 1, 2));
  EXPECT_THAT(mesh.dz.elements(), ElementsAre(-2, -3));
}

TEST_F(MeshBlock, NoLayersLeaveOneDepthAndNoWidth) {
  open_record({0, 1, /**/ 0, 1, /**/ 4.5, /**/ 99});
  ASSERT_TRUE(read_mesh_block(&in_, 1, 1, 0));
  EXPECT_THAT(mesh.znode.elements(), ElementsAre(4.5));
  EXPECT_THAT(mesh.dz.elements(), IsEmpty());
  EXPECT_EQ(mesh.ztop, 99);
}

TEST_F(MeshBlock, NegativeCountsGiveEmptyArrays) {
  open_record({99});
  ASSERT_TRUE(read_mesh_block(&in_, -1, -7, -3));
  EXPECT_THAT(mesh.ynode.elements(), IsEmpty());
  EXPECT_THAT(mesh.dx.elements(), IsEmpty());
  EXPECT_EQ(mesh.ztop, 99);
}

TEST_F(MeshBlock, ShortRecordIsFalseAndSaysNothing) {
  open_record({0, 1, /**/ 0, 1, /**/ 0, 1});
  const capture console_text(console());
  EXPECT_FALSE(read_mesh_block(&in_, 1, 1, 1));
  EXPECT_EQ(console_text.text, "");
}

TEST_F(MeshBlock, SurfaceHasYFastest) {
  ASSERT_TRUE(
      in_.open(folder_.write("itop", test::framed(test::bytes_of(std::vector<i4>{1, 2, 3, 4, 5, 6})))));
  ASSERT_TRUE(read_itop(in_, 2, 3));
  EXPECT_EQ(mesh.itop(1, 1), 1);
  EXPECT_EQ(mesh.itop(2, 1), 2);
  EXPECT_EQ(mesh.itop(1, 2), 3);
  EXPECT_EQ(mesh.itop(2, 3), 6);
}

TEST_F(MeshBlock, ShortSurfaceRecordIsFalse) {
  ASSERT_TRUE(in_.open(folder_.write("itop", test::framed(test::bytes_of(std::vector<i4>{1, 2, 3})))));
  EXPECT_FALSE(read_itop(in_, 2, 2));
}

}  // namespace
}  // namespace velko
