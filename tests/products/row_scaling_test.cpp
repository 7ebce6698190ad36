// Rows of G in units of the standard deviations.
#include "products/row_scaling.h"

#include <gmock/gmock.h>

#include "products/products.h"
#include "tests/products/problem.h"
#include "tests/support/dense_values.h"

namespace velko::test {
namespace {

class RowScaling : public products_test {
 public:
  static std::vector<r4> values_of(i4 row) {
    const array1<r4>& val = store.Gs(row).val;
    return {val.begin(), val.end()};
  }
};

TEST_F(RowScaling, EachSparseRowIsDividedByItsOwnDeviation) {
  set_sparse_rows({{{4, 1.0f}, {2, -3.0f}}, {}, {{1, 5.0f}}});
  scale_rows(values{2, 3, 4});
  EXPECT_EQ(values_of(1), (std::vector<r4>{0.5f, -1.5f}));
  EXPECT_EQ(values_of(2), std::vector<r4>{});
  EXPECT_EQ(values_of(3), std::vector<r4>{1.25f});
  EXPECT_EQ(store.Gs(1).idx(1), 4);
  EXPECT_EQ(store.Gs(1).idx(2), 2);
}

TEST_F(RowScaling, EachDenseRowIsDividedByItsOwnDeviation) {
  set_dense_rows(2, {{1, -3}, {5, 0}, {7, 1e-3f}});
  scale_rows(values{2, 4, 1});
  EXPECT_EQ(dense_values(), (std::vector<r4>{0.5f, -1.5f, 1.25f, 0, 7, 1e-3f}));
}

TEST_F(RowScaling, QuotientsAreFormedInDoublePrecisionAndThenRounded) {
  // Deviations that single precision can't hold, nor their inverses.
  for (const r8 derr : {1.0 / 3.0, 0.7, 4.9, 1e-3})
    for (const r8 x : random_values(100)) {
      const r4 g = static_cast<r4>(x);
      set_dense_rows(1, {{g}});
      scale_rows(values{derr});
      EXPECT_EQ(dense_values()[0], static_cast<r4>(static_cast<r8>(g) / derr));
    }
}

TEST_F(RowScaling, ScaledProductsAreThoseOfScaledData) {
  set_uneven_problem();
  const values m = random_values(static_cast<std::size_t>(cells.ncell));
  values derr = random_values(30, 3), d(30), scaled(30);
  for (r8& e : derr) e = 0.1 + std::abs(e);
  for (const bool compressed : {true, false}) {
    if (compressed)
      set_random_sparse_rows(30);
    else
      set_dense_rows(cells.ncell, random_dense_rows(30, m.size()));
    GPROD(m, d);
    scale_rows(derr);
    GPROD(m, scaled);
    for (std::size_t i = 0; i < d.size(); ++i) EXPECT_NEAR(scaled[i], d[i] / derr[i], 1e-5 / derr[i]) << i;
  }
}

TEST_F(RowScaling, ResultDoesNotDependOnTheNumberOfThreads) {
  const values derr{3, 7, 11, 13, 17};
  const auto rows = random_dense_rows(5, 100);
  set_dense_rows(100, rows);
  omp_set_num_threads(1);
  scale_rows(derr);
  const std::vector<r4> alone = dense_values();
  for (const int threads : {2, 8}) {
    set_dense_rows(100, rows);
    omp_set_num_threads(threads);
    scale_rows(derr);
    EXPECT_EQ(dense_values(), alone);
  }
}

TEST_F(RowScaling, DeviationsThatAreNotOneForEachRowStopAndLeaveGAsItIs) {
  set_sparse_rows({{{1, 1.0f}}, {{1, 1.0f}}});
  for (const std::size_t n : {0u, 1u, 3u})
    EXPECT_EQ(stop_of([n] { scale_rows(values(n, 2.0)); }), "size(derr) /= # of rows");
  EXPECT_EQ(values_of(1), std::vector<r4>{1});
  set_dense_rows(1, {{1}, {1}});
  for (const std::size_t n : {0u, 1u, 3u})
    EXPECT_EQ(stop_of([n] { scale_rows(values(n, 2.0)); }), "size(derr) /= # of rows");
  EXPECT_EQ(dense_values(), (std::vector<r4>{1, 1}));
}

TEST_F(RowScaling, MatricesWithNoRowsOrNoColumnsAreNoTrouble) {
  set_sparse_rows({});
  EXPECT_EQ(stop_of([] { scale_rows({}); }), "(done)");
  set_dense_rows(3, {});
  EXPECT_EQ(stop_of([] { scale_rows({}); }), "(done)");
  set_dense_rows(0, {{}, {}});
  EXPECT_EQ(stop_of([] { scale_rows(values{1, 2}); }), "(done)");
}

}  // namespace
}  // namespace velko::test
