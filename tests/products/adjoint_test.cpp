// GTPROD and GTGPROD: the laws that tie them to GPROD, on problems of random sizes, on 1 to 8 threads.
#include <gtest/gtest.h>

#include "products/products.h"
#include "tests/products/random_problem.h"

namespace velko::test {
namespace {

long double dot(const values& a, const values& b) {
  long double s = 0;
  for (std::size_t i = 0; i < a.size(); ++i) s += static_cast<long double>(a[i]) * b[i];
  return s;
}

r8 norm(const values& a) {
  return static_cast<r8>(std::sqrt(dot(a, a)));
}

class Adjoint : public products_test, public testing::WithParamInterface<form> {
 public:
  /// Runs the body on forty problems of the form, the thread counts in turn.
  static void for_random_problems(const std::function<void(const random_problem&)>& body) {
    for (unsigned seed = 0; seed < 40; ++seed) {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      reset_state();
      omp_set_num_threads(static_cast<int>(1 + seed % 8));
      body(random_problem(GetParam(), seed));
    }
  }
};

TEST_P(Adjoint, ScalarProductsAgree) {
  for_random_problems([](const random_problem& p) {
    const values m = p.random_model(), d = p.random_data();
    const values Gm = p.forward(m), Gtd = p.adjoint(d);
    // Row sums and transforms err by some tens of eps, relative to the norms of what they sum.
    EXPECT_NEAR(static_cast<r8>(dot(Gm, d)), static_cast<r8>(dot(m, Gtd)),
                1e-13 * (norm(Gm) * norm(d) + norm(m) * norm(Gtd)));
  });
}

TEST_P(Adjoint, ModelTimesNormalProductIsTheSquaredLengthOfTheData) {
  for_random_problems([](const random_problem& p) {
    const values x = p.random_model();
    const values Gx = p.forward(x), GtGx = p.normal(x);
    EXPECT_NEAR(static_cast<r8>(dot(x, GtGx)), static_cast<r8>(dot(Gx, Gx)), 1e-13 * norm(Gx) * norm(Gx));
  });
}

// The judge: G formed column by column, and sums in long double. The tolerance is relative to the sizes of the terms, and
// so is that of a sum that cancels.
TEST_P(Adjoint, AdjointProductIsThatOfTheMatrixFormedColumnByColumn) {
  for_random_problems([](const random_problem& p) {
    const std::vector<values> columns = p.matrix_by_columns();
    const values d = p.random_data(), Gtd = p.adjoint(d);
    for (std::size_t k = 0; k < columns.size(); ++k)
      EXPECT_NEAR(Gtd[k], static_cast<r8>(dot(columns[k], d)), 1e-13 * (1 + norm(columns[k]) * norm(d)));
  });
}

TEST_P(Adjoint, NormalProductIsThatOfTheMatrixFormedColumnByColumn) {
  for_random_problems([](const random_problem& p) {
    const std::vector<values> columns = p.matrix_by_columns();
    const values x = p.random_model(), GtGx = p.normal(x);
    std::vector<long double> sums(p.rows(), 0.0L);
    for (std::size_t k = 0; k < columns.size(); ++k)
      for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += static_cast<long double>(columns[k][i]) * x[k];
    const values d(sums.begin(), sums.end());
    for (std::size_t k = 0; k < columns.size(); ++k)
      EXPECT_NEAR(GtGx[k], static_cast<r8>(dot(columns[k], d)), 1e-13 * (1 + norm(columns[k]) * norm(d)));
  });
}

TEST_P(Adjoint, ResultsAreTheSameForEveryNumberOfThreads) {
  for_random_problems([](const random_problem& p) {
    const values x = p.random_model(), d = p.random_data();
    omp_set_num_threads(1);
    const values Gtd = p.adjoint(d), GtGx = p.normal(x);
    for (const int threads : {2, 3, 5, 8}) {
      omp_set_num_threads(threads);
      EXPECT_TRUE(same_bits(p.adjoint(d), Gtd)) << threads;
      EXPECT_TRUE(same_bits(p.normal(x), GtGx)) << threads;
    }
  });
}

// On the cells of the compressed form and on compact models, where both products take and give the same shape.
TEST_P(Adjoint, NormalProductHasTheBitsOfTheTwoProductsOneAfterTheOther) {
  for_random_problems([](const random_problem& p) {
    const values x = p.random_model();
    EXPECT_TRUE(same_bits(p.normal(x), p.adjoint(p.forward(x))));
  });
}

INSTANTIATE_TEST_SUITE_P(Forms, Adjoint,
                         testing::Values(form::compressed, form::dense_active, form::dense_compact),
                         [](const auto& of) { return std::string(name_of(of.param)); });

}  // namespace
}  // namespace velko::test
