// The row loops that add rows up, loop by loop: small matrices whose sums are exact.
#include <gmock/gmock.h>

#include "products/full_rows.h"
#include "products/sparse_rows.h"
#include "tests/products/problem.h"

namespace velko::test {
namespace {

using ScatteringRows = products_test;

TEST_F(ScatteringRows, AdjointKernelScattersEachRowTimesItsDatum) {
  set_sparse_rows({{{1, 1.0f}, {3, 10.0f}}, {}, {{3, -1.0f}}});
  for (int threads = 1; threads <= 8; ++threads) {
    omp_set_num_threads(threads);
    values y(4, untouched);
    CALC_GTV(values{2, 5, 7}, y);
    EXPECT_EQ(y, (values{2, 0, 13, 0})) << threads;
  }
}

TEST_F(ScatteringRows, NormalKernelScattersEachRowTimesItsScalarProduct) {
  set_sparse_rows({{{1, 1.0f}, {3, 10.0f}}, {}, {{3, -1.0f}}});
  for (int threads = 1; threads <= 8; ++threads) {
    omp_set_num_threads(threads);
    values y(4, untouched);
    CALC_GTGV_1LOOP(values{5, 9, 2, 9}, y);
    EXPECT_EQ(y, (values{25, 0, 252, 0})) << threads;
  }
}

TEST_F(ScatteringRows, PositionThatARowNamesTwiceGetsBoth) {
  set_sparse_rows({{{2, 1.0f},
                    {2, 10.0f},
                    {2, 100.0f},
                    {1, 1.0f},
                    {2, 1e3f},
                    {2, 1e4f},
                    {2, 1e5f},
                    {2, 1e6f},
                    {2, 1e7f}}});
  values y(2, untouched);
  CALC_GTV(values{3}, y);
  EXPECT_EQ(y, (values{3, 33333333}));
}

TEST_F(ScatteringRows, DenseAdjointKernelAddsEachRowTimesItsDatum) {
  set_dense_rows(2, {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}});
  for (int threads = 1; threads <= 8; ++threads) {
    omp_set_num_threads(threads);
    values y(2, untouched);
    CALC_FULL_GTV(values{1, 10, 100, 1000, 10000}, y);
    EXPECT_EQ(y, (values{97531, 108642})) << threads;
  }
}

TEST_F(ScatteringRows, DenseNormalKernelAddsEachRowTimesItsScalarProduct) {
  set_dense_rows(2, {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}});
  for (int threads = 1; threads <= 8; ++threads) {
    omp_set_num_threads(threads);
    values y(2, untouched);
    CALC_FULL_GTGV(values{1, 10}, y);  // data 21, 43, 65, 87, 109
    EXPECT_EQ(y, (values{21 + 129 + 325 + 609 + 981, 42 + 172 + 390 + 696 + 1090})) << threads;
  }
}

TEST_F(ScatteringRows, DenseKernelsRunOverTheLengthsOfTheirModels) {
  set_dense_rows(3, {{1, 2, 9}, {3, 4, 9}, {5, 6, 9}, {7, 8, 9}, {9, 10, 9}});
  values around(4, untouched);
  const std::span<r8> y = std::span(around).first(2);
  CALC_FULL_GTV(values{1, 10, 100, 1000, 10000}, y);
  EXPECT_EQ(around, (values{97531, 108642, untouched, untouched}));
  CALC_FULL_GTGV(values{1}, y);  // data 1, 3, 5, 7, 9
  EXPECT_EQ(around, (values{1 + 9 + 25 + 49 + 81, 2 + 12 + 30 + 56 + 90, untouched, untouched}));
}

TEST_F(ScatteringRows, DenseKernelsRunOverTheRowsOfGfullAndSparseOnesOverNdata) {
  set_dense_rows(1, {{1}, {10}, {100}});
  survey.ndata = 1;
  values y(1, untouched);
  CALC_FULL_GTV(values{1, 1, 1}, y);
  EXPECT_EQ(y, values{111});
  set_sparse_rows({{{1, 1.0f}}, {{1, 10.0f}}, {{1, 100.0f}}});
  survey.ndata = 2;
  CALC_GTV(values{1, 1, 1}, y);
  EXPECT_EQ(y, values{11});
}

TEST_F(ScatteringRows, KernelsWithNoRowsStillClearY) {
  const values cleared(3, 0.0);
  values y(3, untouched);
  set_dense_rows(3, {});
  CALC_FULL_GTV(values{}, y);
  EXPECT_EQ(y, cleared);
  y.assign(3, untouched);
  CALC_FULL_GTGV(values{1, 2, 3}, y);
  EXPECT_EQ(y, cleared);
  set_sparse_rows({{{1, 1.0f}}});
  for (const i4 ndata : {0, -1}) {
    survey.ndata = ndata;
    y.assign(3, untouched);
    CALC_GTV(values{}, y);
    EXPECT_EQ(y, cleared);
    y.assign(3, untouched);
    CALC_GTGV_1LOOP(values{1, 2, 3}, y);
    EXPECT_EQ(y, cleared);
  }
}

TEST_F(ScatteringRows, ModelOfNoElementsIsNoTrouble) {
  set_dense_rows(0, {{}, {}, {}, {}, {}});
  values y;
  CALC_FULL_GTV(values(5, 1.0), y);
  CALC_FULL_GTGV(values{}, y);
  set_sparse_rows({{}, {}});
  CALC_GTV(values(2, 1.0), y);
  CALC_GTGV_1LOOP(values{}, y);
}

TEST_F(ScatteringRows, EmptyCubeHasNoPositions) {
  set_sparse_rows({{}, {{1, 1.0f}}});
  values d(2, untouched), around(1, untouched);
  const std::span<r8> empty = std::span(around).first(0);
  EXPECT_EQ(stop_of([&] { CALC_GV(empty, d); }), "idx outside the cube");
  EXPECT_EQ(stop_of([&] { CALC_GTV(d, empty); }), "idx outside the cube");
  EXPECT_EQ(stop_of([&] { CALC_GTGV_1LOOP(empty, empty); }), "idx outside the cube");
  EXPECT_EQ(stop_of([&] { CALC_GV({}, d); }), "idx outside the cube");
  EXPECT_EQ(around.front(), untouched);
}

TEST_F(ScatteringRows, RowsBehindTheDataAreNotLookedAt) {
  set_sparse_rows({{{1, 2.0f}}, {{3, 4.0f}}, {{99, 1.0f}}});
  survey.ndata = 2;
  values d(2), cube(3);
  CALC_GV(values{1, 1, 1}, d);
  EXPECT_EQ(d, (values{2, 4}));
  CALC_GTV(d, cube);
  EXPECT_EQ(cube, (values{4, 0, 16}));
}

TEST_F(ScatteringRows, KernelsNeverWriteOutsideTheCube) {
  for (const i4 idx : {0, -1, 4, -2147483647, 2147483647}) {
    set_sparse_rows({{{1, 1.0f}, {idx, 1.0f}}});
    values y(5, untouched);
    const std::span<r8> cube = std::span(y).subspan(1, 3);
    EXPECT_EQ(stop_of([&] { CALC_GTV(values{1}, cube); }), "idx outside the cube") << idx;
    EXPECT_EQ(stop_of([&] { CALC_GTGV_1LOOP(values{1, 2, 3}, cube); }), "idx outside the cube") << idx;
    EXPECT_EQ(y.front(), untouched);
    EXPECT_EQ(y.back(), untouched);
  }
}

}  // namespace
}  // namespace velko::test
