#include "store/state.h"

#include <gtest/gtest.h>

#include "store/row_memory.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

TEST(State, OneCallResetsAllOfIt) {
  mesh.nx = 3;
  mesh.itop = owned_array2<i4>(3, 3);
  store.ndata_mtx = 4;
  store.Gs = owned_array1<sparse_row>(4);
  survey.ndata = 5;
  survey.incl = 65;
  cells.ncell = 6;
  cells.cell_map = owned_array3<i4>(1, 2, 3);
  run.dpred = owned_array1<r8>(5);
  const owned_array1<r8> filter(2);
  SET_WTN_FILTER(filter.elements(), 2);
  reset_state();
  EXPECT_EQ(mesh.nx, 0);
  EXPECT_EQ(mesh.itop.size(), 0);
  EXPECT_EQ(store.ndata_mtx, 0);
  EXPECT_EQ(store.Gs.size(), 0);
  EXPECT_EQ(survey.ndata, 0);
  EXPECT_EQ(survey.incl, 0);
  EXPECT_EQ(cells.ncell, 0);
  EXPECT_EQ(cells.cell_map.size(), 0);
  EXPECT_EQ(run.dpred.size(), 0);
  EXPECT_EQ(wavelet.filter_len, 0);
}

TEST(RowMemory, PiecesAreAlignedAndDoNotOverlap) {
  row_memory memory;
  std::byte* last_end = nullptr;
  for (const i8 bytes : {i8{1}, i8{8}, i8{13}, i8{1000}}) {
    std::byte* piece = memory.take(bytes);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(piece) % 8, 0U);
    EXPECT_GE(piece, last_end);
    last_end = piece + bytes;
  }
}

TEST(RowMemory, PieceLargerThanABlockHasItsOwn) {
  row_memory memory;
  constexpr i8 bytes = i8{100} << 20;
  std::byte* piece = memory.take(bytes);
  piece[bytes - 1] = std::byte{1};
  EXPECT_EQ(piece[bytes - 1], std::byte{1});
}

}  // namespace
}  // namespace velko
