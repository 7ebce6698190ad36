// GTPROD and GTGPROD: lengths, stops and reports, and what they leave alone.
#include <gmock/gmock.h>

#include "products/products.h"
#include "tests/products/problem.h"
#include "tests/support/little_memory.h"

namespace velko::test {
namespace {

class GtProd : public products_test {
 public:
  static std::size_t ncell() { return static_cast<std::size_t>(cells.ncell); }
  static void set_uneven_dense_problem(std::size_t rows) {
    set_uneven_problem();
    set_dense_rows(cells.nbelow, random_dense_rows(rows, static_cast<std::size_t>(cells.nbelow)));
  }
  /// Two columns of three cells; in the air: the first of the second column. Active: 1, -, 2 and -, -, 3.
  static void set_small_mesh() {
    set_mesh(1, 2, 3, {0, 1});
    set_cells([](i4 k, i4 j, i4) { return k != 2 ? 1 : j == 1 ? 0 : -1; });
  }
  static values adjoint(std::size_t size, const values& d) {
    values m(size, untouched);
    GTPROD(m, d);
    return m;
  }
  static values normal(std::size_t size, const values& x) {
    values y(size, untouched);
    GTGPROD(x, y);
    return y;
  }
};

using GtgProd = GtProd;

TEST_F(GtProd, DataOfZerosGiveZerosAtActiveCellsAndTouchNothingElse) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  values right(ncell() + 3, 0.0);
  std::fill_n(right.end() - 3, 3, untouched);
  EXPECT_EQ(adjoint(right.size(), values(9, 0.0)), right);

  set_uneven_dense_problem(9);
  EXPECT_EQ(adjoint(ncell(), values(9, 0.0)), values(ncell(), 0.0));
}

TEST_F(GtProd, NoDataGiveZerosAtActiveCells) {
  set_uneven_problem();
  set_random_sparse_rows(9);
  for (const i4 ndata : {0, -1}) {
    survey.ndata = ndata;
    EXPECT_EQ(adjoint(ncell(), {}), values(ncell(), 0.0));
    EXPECT_EQ(normal(ncell(), random_values(ncell())), values(ncell(), 0.0));
  }
  set_uneven_dense_problem(0);
  EXPECT_EQ(adjoint(ncell(), {}), values(ncell(), 0.0));
  EXPECT_EQ(normal(ncell(), random_values(ncell())), values(ncell(), 0.0));
}

TEST_F(GtProd, CompressedOutputIsNotClearedWhereNoActiveCellIs) {
  set_small_mesh();
  set_cube(1, 2, 4);
  set_sparse_rows({{{1, 1.0f}, {2, 1.0f}, {3, 1.0f}, {4, 1.0f}, {7, 1.0f}}});
  EXPECT_EQ(adjoint(5, {2}), (values{2, 2, 2, untouched, untouched}));
  EXPECT_EQ(normal(5, {1, 10, 100}), (values{111, 111, 111, untouched, untouched}));
}

TEST_F(GtProd, DenseOutputIsNotWrittenForAnActiveCellAboveTheSurface) {
  set_small_mesh();
  cells.cell_map(1, 2, 1) = 4;
  cells.ncell = 4;
  set_dense_rows(5, {{1, 2, 3, 4, 5}});
  EXPECT_EQ(adjoint(4, {10}), (values{10, 30, 50, untouched}));
  EXPECT_EQ(normal(4, {1, 1, 1, 1}), (values{9, 27, 45, untouched}));
}

TEST_F(GtProd, DenseModelOfColumnLengthIsTheCompactVector) {
  set_small_mesh();
  set_dense_rows(5, {{1, 2, 3, 4, 5}, {0, 0, 0, 0, 1}});
  EXPECT_EQ(adjoint(5, {10, 100}), (values{10, 20, 30, 40, 150}));
  EXPECT_EQ(normal(5, {1, 1, 1, 1, 1}), (values{15, 30, 45, 60, 76}));
}

TEST_F(GtProd, DenseModelOfActiveLengthDropsTheOtherCells) {
  set_small_mesh();
  set_dense_rows(5, {{1, 2, 3, 4, 5}, {0, 0, 0, 0, 1}});
  EXPECT_EQ(adjoint(3, {10, 100}), (values{10, 30, 150}));
  EXPECT_EQ(normal(3, {1, 1, 1}), (values{9, 27, 46}));
}

TEST_F(GtProd, EmptyRowsAddNothing) {
  set_small_mesh();
  set_cube(1, 2, 4);
  set_sparse_rows({{}, {{1, 1.0f}}, {}, {{7, 1.0f}}, {}});
  EXPECT_EQ(adjoint(3, {9, 1, 9, 2, 9}), (values{1, 0, 2}));
  EXPECT_EQ(normal(3, {3, 4, 5}), (values{3, 0, 5}));
}

TEST_F(GtProd, MoreThreadsThanRowsGiveWhatOneThreadGives) {
  set_uneven_problem();
  set_sparse_rows({{{1, 1.0f}, {5, 0.5f}}, {{5, 2.0f}}});
  const values x = random_values(ncell());
  omp_set_num_threads(1);
  const values m = adjoint(ncell(), {1, 2}), y = normal(ncell(), x);
  omp_set_num_threads(8);
  EXPECT_TRUE(same_bits(adjoint(ncell(), {1, 2}), m));
  EXPECT_TRUE(same_bits(normal(ncell(), x), y));
}

TEST_F(GtProd, DenseModelOfAnotherLengthStops) {
  set_small_mesh();
  set_dense_rows(5, {{1, 2, 3, 4, 5}});
  for (const std::size_t n : {0u, 2u, 4u, 6u}) {  // 6: the full mesh, which is not read here
    EXPECT_EQ(stop_of([n] { adjoint(n, {1}); }), "size(m2) /= ncell") << n;
    EXPECT_EQ(stop_of([n] { normal(3, values(n)); }), "size(m2) /= ncell") << n;
    EXPECT_EQ(stop_of([n] { normal(n, values(3)); }), "size(m2) /= ncell") << n;
  }
}

TEST_F(GtProd, DenseMatrixThatDoesNotFitTheSurfaceStops) {
  set_small_mesh();
  for (const std::size_t ncol : {4u, 6u}) {
    set_dense_rows(static_cast<i4>(ncol), {std::vector<r4>(ncol, 1.0f)});
    EXPECT_EQ(stop_of([] { adjoint(3, {1}); }), "idx1 /= size(m1)");
    EXPECT_EQ(stop_of([] { normal(3, values(3)); }), "idx1 /= size(m1)");
  }
}

TEST_F(GtProd, IdxOutsideTheCubeStops) {
  set_uneven_problem();
  for (const i4 idx : {0, -1, store.ncube + 1, -2147483647, 2147483647}) {
    set_sparse_rows({{{1, 1.0f}, {idx, 1.0f}}});
    EXPECT_EQ(stop_of([] { adjoint(ncell(), {1}); }), "idx outside the cube") << idx;
    EXPECT_EQ(stop_of([] { normal(ncell(), values(ncell())); }), "idx outside the cube") << idx;
  }
}

TEST_F(GtProd, CompressedModelTooShortForTheActiveCellsStops) {
  set_uneven_problem();
  set_random_sparse_rows(3);
  EXPECT_EQ(stop_of([] { adjoint(ncell() - 1, values(3)); }), "size(m) < ncell");
  EXPECT_EQ(stop_of([] { normal(ncell() - 1, values(ncell())); }), "size(m) < ncell");
}

TEST_F(GtProd, SurveyOfMoreDataThanRowsStops) {
  set_uneven_problem();
  set_random_sparse_rows(3);
  survey.ndata = 4;
  values d(4);
  EXPECT_EQ(stop_of([] { adjoint(ncell(), values(4)); }), "ndata > # of rows");
  EXPECT_EQ(stop_of([] { normal(ncell(), values(ncell())); }), "ndata > # of rows");
  EXPECT_EQ(stop_of([&] { GPROD(values(ncell()), d); }), "ndata > # of rows");
}

TEST_F(GtProd, DataVectorShorterThanTheSurveyStops) {
  set_uneven_problem();
  set_random_sparse_rows(3);
  values d(2);
  EXPECT_EQ(stop_of([] { adjoint(ncell(), values(2)); }), "size(data) < ndata");
  EXPECT_EQ(stop_of([&] { GPROD(values(ncell()), d); }), "size(data) < ndata");
}

TEST_F(GtgProd, FullMeshModelGivesWhatItsActiveVectorGivesWhereTheRestIsZero) {
  set_uneven_problem();
  set_random_sparse_rows(20);
  const values x = random_values(ncell());
  values grid;
  for (const i4 e : cells.cell_map) grid.push_back(e > 0 ? x[static_cast<std::size_t>(e - 1)] : 0.0);
  EXPECT_NE(grid.size(), ncell());
  EXPECT_TRUE(same_bits(normal(ncell(), grid), normal(ncell(), x)));
}

TEST_F(GtgProd, FullMeshModelCountsWithAllItsCells) {
  set_small_mesh();
  set_cube(1, 2, 4);
  set_sparse_rows({{{1, 1.0f}, {2, 1.0f}, {5, 1.0f}, {6, 1.0f}}});  // one active cell, three others
  EXPECT_EQ(normal(3, {1, 10, 100, 1000, 10000, 100000}), (values{11011, 0, 0}));
}

TEST_F(GtgProd, CompressedModelOfAnotherLengthStops) {
  set_uneven_problem();
  set_random_sparse_rows(3);
  for (const i4 n : {0, cells.ncell - 1, cells.ncell + 1, cells.ntotal + 1})
    EXPECT_EQ(stop_of([n] { normal(ncell(), values(static_cast<std::size_t>(n))); }),
              "size(x) /= # of cells");
}

#if !defined(VELKO_SANITIZED)
// Not under the sanitizers: their own memory is bound by the same limit.
class LittleMemory : public GtProd {
 public:
  static constexpr i8 MiB = i8{1} << 20;
  /// What stands on the console after the body, and how it ended.
  static std::pair<std::string, stop_or_done> with_memory(i8 bytes, const std::function<void()>& body) {
    const capture on_console(console());
    const little_memory limit(bytes);
    const stop_or_done end = run_until_stop(body);
    return {on_console.text, end};
  }
  static std::pair<std::string, stop_or_done> report_of(const std::string& product) {
    return {"\nMemory allocation error in: " + product + "\n\n", {stop_or_done::stopped, ""}};
  }
  static std::pair<std::string, stop_or_done> refusal_of(i8 bytes) {
    return {"", {stop_or_done::failed, "velko: out of memory: " + std::to_string(bytes) + " bytes refused"}};
  }
  /// One active cell in a cube of 16 MiB, or one column in as many.
  static void set_large(bool compressed) {
    set_mesh(1, 1, 1);
    set_cells();
    set_cube(128, 128, 128);
    set_haar();
    compressed ? set_sparse_rows({{{1, 1.0f}}, {{1, 1.0f}}}) : set_dense_rows(1, {});
    if (!compressed) store.ncol = 1 << 21;
  }
};

TEST_F(LittleMemory, CubeThatTheSystemRefusesEndsInTheReportOfTheProduct) {
  set_large(true);
  EXPECT_EQ(with_memory(8 * MiB, [] { adjoint(1, {1, 2}); }), report_of("gtprod"));
  EXPECT_EQ(with_memory(8 * MiB, [] { normal(1, {1}); }), report_of("gtgprod"));
}

TEST_F(LittleMemory, SecondCubeThatTheSystemRefusesEndsInTheReportToo) {
  set_large(true);
  EXPECT_EQ(with_memory(24 * MiB, [] { normal(1, {1}); }), report_of("gtgprod"));
}

TEST_F(LittleMemory, EitherCompactVectorOfTheNormalProductEndsInTheReport) {
  set_large(false);
  EXPECT_EQ(with_memory(8 * MiB, [] { normal(1, {1}); }), report_of("gtgprod"));
  EXPECT_EQ(with_memory(24 * MiB, [] { normal(1, {1}); }), report_of("gtgprod"));
}

TEST_F(LittleMemory, CompactVectorOfTheAdjointProductHasNoReportOfItsOwn) {
  set_large(false);
  EXPECT_EQ(with_memory(8 * MiB, [] { adjoint(1, {}); }), refusal_of(16 * MiB));
}

TEST_F(LittleMemory, ProductsAskForTheirCubesAloneWhateverTheNumberOfThreads) {
  set_large(true);
  omp_set_num_threads(8);
  adjoint(1, {1, 2});  // so that the threads are there
  const std::pair<std::string, stop_or_done> done{"", {}};
  EXPECT_EQ(with_memory(24 * MiB, [] { adjoint(1, {1, 2}); }), done);
  EXPECT_EQ(with_memory(42 * MiB, [] { normal(1, {1}); }), done);
}
#endif

}  // namespace
}  // namespace velko::test
