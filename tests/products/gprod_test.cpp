// GPROD and its row loops.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "products/full_rows.h"
#include "products/products.h"
#include "products/sparse_rows.h"
#include "tests/products/problem.h"
#include "tests/support/little_memory.h"
#include "tests/wavelet/plain_transform.h"

namespace velko::test {
namespace {

class GProd : public products_test {
 public:
  static values predicted(const values& m, std::size_t ndata) {
    values d(ndata, untouched);
    GPROD(m, d);
    return d;
  }
};

/// G of the compressed form as a dense matrix over the active cells: each unit cube is transformed by the formula of the
/// transform, and all sums run in long double.
values judged(const values& amodel) {
  std::vector<long double> d(static_cast<std::size_t>(survey.ndata), 0.0L);
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j)
      for (i4 k = 1; k <= mesh.nz; ++k) {
        const i4 e = cells.cell_map(k, j, i);
        if (e <= 0) continue;
        values cube(static_cast<std::size_t>(store.ncube), 0.0);
        cube[static_cast<std::size_t>(k - 1 + store.ncube_z * (j - 1 + store.ncube_x * (i - 1)))] = 1;
        plain_WTN(cube, {store.ncube_z, store.ncube_x, store.ncube_y}, 1,
                  [](std::span<r8> line, i4 n, bool forward) { plain_PWT(line, n, forward); });
        for (i4 datum = 1; datum <= survey.ndata; ++datum) {
          const sparse_row& row = store.Gs(datum);
          long double g = 0;
          for (i4 c = 1; c <= row.idx.size(); ++c)
            g += static_cast<long double>(row.val(c)) * cube[static_cast<std::size_t>(row.idx(c) - 1)];
          d[static_cast<std::size_t>(datum - 1)] += g * amodel[static_cast<std::size_t>(e - 1)];
        }
      }
  return {d.begin(), d.end()};
}

TEST_F(GProd, CompressedProductIsTheDenseMatrixOfTransformedUnitCubesTimesTheModel) {
  set_uneven_problem();
  set_random_sparse_rows(50);
  const values m = random_values(static_cast<std::size_t>(cells.ncell)), d = predicted(m, 50),
               judge = judged(m);
  for (std::size_t i = 0; i < 50; ++i) EXPECT_NEAR(d[i], judge[i], 1e-13) << i;
}

TEST_F(GProd, FullMeshModelGivesWhatItsActiveVectorGivesWhereTheRestIsZero) {
  set_uneven_problem();
  set_random_sparse_rows(20);
  const values m = random_values(static_cast<std::size_t>(cells.ncell));
  values grid;
  for (const i4 e : cells.cell_map) grid.push_back(e > 0 ? m[static_cast<std::size_t>(e - 1)] : 0.0);
  EXPECT_TRUE(same_bits(predicted(grid, 20), predicted(m, 20)));
}

TEST_F(GProd, ResultDoesNotDependOnTheNumberOfThreads) {
  set_uneven_problem();
  const values m = random_values(static_cast<std::size_t>(cells.ncell));
  for (const std::size_t rows : {1u, 4u, 50u}) {
    set_random_sparse_rows(rows);
    omp_set_num_threads(1);
    const values compressed = predicted(m, rows);
    set_dense_rows(cells.ncell, random_dense_rows(rows, m.size()));
    const values dense = predicted(m, rows);
    for (const int threads : {2, 3, 7}) {
      omp_set_num_threads(threads);
      EXPECT_TRUE(same_bits(predicted(m, rows), dense)) << threads;
      store.compressed = true;
      EXPECT_TRUE(same_bits(predicted(m, rows), compressed)) << threads;
      store.compressed = false;
    }
  }
}

TEST_F(GProd, RowWithNoElementsGivesZeroAndNotWhatWasThere) {
  set_uneven_problem();
  set_sparse_rows({{{1, 1.0f}}, {}, {{2, 1.0f}}});
  EXPECT_EQ(predicted(values(static_cast<std::size_t>(cells.ncell), 1.0), 3)[1], 0.0);
}

TEST_F(GProd, ModelOfZerosGivesZerosInBothForms) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  const values m(static_cast<std::size_t>(cells.ncell), 0.0);
  EXPECT_EQ(predicted(m, 9), values(9, 0.0));
  set_dense_rows(cells.ncell, random_dense_rows(9, m.size()));
  EXPECT_EQ(predicted(m, 9), values(9, 0.0));
}

TEST_F(GProd, ConstantModelHasDetailWhereItMeetsTheZeroFill) {
  set_mesh(1, 1, 7);
  set_cells();
  set_cube(1, 1, 16);
  set_haar();
  // Cells 1-7 are 1 and 8-16 are 0; pairs are (2, 3), (4, 5), (6, 7), (8, 9), ... (16, 1): of the first details, at
  // 9-16, only the last, which meets the end of the cube, is not 0.
  set_sparse_rows({{{9, 1.0f}}, {{11, 1.0f}}, {{12, 1.0f}}, {{16, 1.0f}}});
  const values d = predicted(values(7, 1.0), 4);
  EXPECT_NEAR(d[0], 0, 1e-15);
  EXPECT_NEAR(d[1], 0, 1e-15);
  EXPECT_NEAR(d[2], 0, 1e-15);
  EXPECT_NEAR(std::abs(d[3]), std::sqrt(0.5), 1e-15);
}

TEST_F(GProd, NoDataLeaveDUnwritten) {
  set_uneven_problem();
  set_sparse_rows({});
  values d(3, untouched);
  GPROD(values(static_cast<std::size_t>(cells.ncell), 1.0), d);
  survey.ndata = std::numeric_limits<i4>::min();
  GPROD(values(static_cast<std::size_t>(cells.ncell), 1.0), d);
  EXPECT_EQ(d, values(3, untouched));
}

TEST_F(GProd, CubeDimensionsOfAtMostFourAreNotTransformed) {
  set_mesh(2, 3, 4);
  set_cells();
  set_cube(4, 4, 4);
  set_haar();
  set_sparse_rows({{{1, 2.0f}}, {{1 + 4 + 16, 1.0f}}, {{64, 1.0f}}});
  EXPECT_EQ(predicted(counting(24), 3), (values{2, 1 + 4 + 12, 0}));
}

TEST_F(GProd, CompressedModelOfAnotherLengthStops) {
  set_uneven_problem();
  set_random_sparse_rows(3);
  for (const i4 n : {0, cells.ncell - 1, cells.ncell + 1, cells.ntotal + 1})
    EXPECT_EQ(stop_of([n] { predicted(values(static_cast<std::size_t>(n)), 3); }), "size(x) /= # of cells");
}

TEST_F(GProd, IdxOutsideTheCubeStops) {
  set_uneven_problem();
  const values m(static_cast<std::size_t>(cells.ncell), 1.0);
  for (const i4 idx : {0, -1, store.ncube + 1, -2147483647, 2147483647}) {
    set_sparse_rows({{{1, 1.0f}, {idx, 1.0f}}});
    EXPECT_EQ(stop_of([&] { predicted(m, 1); }), "idx outside the cube") << idx;
  }
  set_sparse_rows({{{1, 1.0f}, {store.ncube, 1.0f}}});
  EXPECT_EQ(stop_of([&] { predicted(m, 1); }), "(done)");
}

TEST_F(GProd, DenseModelOfColumnLengthIsTakenAsItIs) {
  set_mesh(1, 2, 3, {3, 3});
  set_dense_rows(6, {{1, 2, 3, 4, 5, 6}, {1, 0, 0, 0, 0, 0}});
  // ncol is the full mesh size here as well: no compaction, and itop, which would leave nothing, is not read.
  EXPECT_EQ(predicted(counting(6), 2), (values{91, 1}));
}

TEST_F(GProd, DenseModelOfFullMeshSizeIsCompacted) {
  set_mesh(1, 2, 3, {1, 2});
  set_dense_rows(3, {{1, 10, 100}});
  EXPECT_EQ(predicted(counting(6), 1), (values{2 + 30 + 600}));
}

TEST_F(GProd, DenseMatrixThatDoesNotFitTheSurfaceStopsTheCompaction) {
  set_mesh(1, 2, 3, {1, 1});
  set_dense_rows(3, {{1, 10, 100}});
  EXPECT_EQ(stop_of([] { predicted(counting(6), 1); }), "idx1 /= size(amodel)");
}

TEST_F(GProd, DenseModelOfAnotherLengthStops) {
  set_mesh(1, 2, 3, {1, 1});
  set_cells([](i4 k, i4, i4) { return k == 3 ? 1 : 0; });
  set_dense_rows(4, {{1, 2, 3, 4}});
  EXPECT_EQ(stop_of([] { predicted(values(2), 1); }), "problem in gprod");  // the length of ncell
  EXPECT_EQ(stop_of([] { predicted({}, 1); }), "problem in gprod");
  EXPECT_EQ(stop_of([] { predicted(values(5), 1); }), "problem in gprod");
}

TEST_F(GProd, FullMeshSizeWrapsRoundIn32Bits) {
  set_dense_rows(2, {{1, 1}});
  mesh.nz = mesh.nx = 65536;
  mesh.ny = 1;  // 2^32, so 0
  mesh.itop = {};
  EXPECT_EQ(stop_of([] { predicted(values(5), 1); }), "problem in gprod");
}

TEST_F(GProd, DenseRowLoopRunsOverTheRowsOfGfullAndNotOverNdata) {
  set_dense_rows(2, {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}});
  survey.ndata = 1;
  EXPECT_EQ(predicted({1, 100}, 6), (values{201, 403, 605, 807, 1009, untouched}));
}

TEST_F(GProd, GfullWithNoRowsLeavesYUnchanged) {
  set_dense_rows(3, {});
  values y(2, untouched);
  CALC_FULL_GV(values(3, 1.0), y);
  EXPECT_EQ(y, values(2, untouched));
}

TEST_F(GProd, DenseModelOfNoElementsGivesZero) {
  set_dense_rows(0, {{}, {}, {}, {}, {}});
  values y(5, untouched);
  CALC_FULL_GV(values{}, y);
  EXPECT_EQ(y, values(5, 0.0));
}

TEST_F(GProd, DenseKernelRunsOverTheLengthOfItsModel) {
  set_dense_rows(3, {{1, 2, 9}, {3, 4, 9}, {5, 6, 9}, {7, 8, 9}, {9, 10, 9}});
  const values v{1, 10, 1000};
  values y(5, untouched);
  CALC_FULL_GV(std::span(v).first(2), y);
  EXPECT_EQ(y, (values{21, 43, 65, 87, 109}));
  CALC_FULL_GV(std::span(v).first(0), y);
  EXPECT_EQ(y, values(5, 0.0));
}

TEST_F(GProd, SparseKernelStandsAloneOnACube) {
  set_sparse_rows({{{1, 1.0f}, {3, 10.0f}}, {}, {{2, -1.0f}}});
  values y(4, untouched);
  CALC_GV(counting(3), y);
  EXPECT_EQ(y, (values{31, 0, -2, untouched}));
}

TEST_F(GProd, SparseKernelWithNoDataLeavesYUnchanged) {
  set_sparse_rows({{{1, 1.0f}}});
  survey.ndata = 0;
  values y(2, untouched);
  CALC_GV(counting(3), y);
  EXPECT_EQ(y, values(2, untouched));
}

TEST_F(GProd, MoreThreadsThanRowsIsNoTrouble) {
  omp_set_num_threads(7);
  set_sparse_rows({{{1, 1.0f}}, {{2, 1.0f}}});
  values y(2, untouched);
  CALC_GV(counting(2), y);
  EXPECT_EQ(y, counting(2));
  set_dense_rows(1, {{3}});
  CALC_FULL_GV(values{2}, y);
  EXPECT_EQ(y[0], 6);
}

#if !defined(VELKO_SANITIZED)
// Not under the sanitizers: their own memory is bound by the same limit.
TEST_F(GProd, CubeThatTheSystemRefusesEndsInTheAllocationReport) {
  set_mesh(1, 1, 1);
  set_cells();
  set_sparse_rows({});
  store.ncube = 2147483647;  // 16 GiB
  const capture on_console(console());
  {
    const little_memory limit(i8{8} << 30);
    EXPECT_EQ(stop_of([] { predicted(values(1), 0); }), "");
  }
  EXPECT_EQ(on_console.text, "\nMemory allocation error in: gprod\n\n");
}
#endif

}  // namespace
}  // namespace velko::test
