#include "library/problem_products.h"

#include <gmock/gmock.h>

#include "products/products.h"
#include "tests/library/parts.h"
#include "tests/support/sensitivity_file.h"
#include "tests/support/temporary_folder.h"

namespace velko {
namespace {

using test::refusal_of;
using test::small_parts;

using values = std::vector<r8>;

/// The dense G of the small problem, by plain sums: they are exact.
values plain_forward(const small_parts& from, const values& m) {
  values d(small_parts::ndata);
  for (std::size_t i = 0; i < d.size(); ++i)
    for (std::size_t k = 0; k < m.size(); ++k) d[i] += r8{from.Gfull[i * m.size() + k]} * m[k];
  return d;
}
values plain_adjoint(const small_parts& from, const values& d) {
  values m(small_parts::ncol);
  for (std::size_t i = 0; i < d.size(); ++i)
    for (std::size_t k = 0; k < m.size(); ++k) m[k] += r8{from.Gfull[i * m.size() + k]} * d[i];
  return m;
}

TEST(ProblemProducts, OfADenseProblemAreThoseOfItsMatrix) {
  const small_parts from;
  problem p = make_problem(from.dense());
  const values m = small_parts::counting(small_parts::ncol), d{1, -2, 0.5};
  EXPECT_EQ(forward(p, m), plain_forward(from, m));
  EXPECT_EQ(adjoint(p, d), plain_adjoint(from, d));
  EXPECT_EQ(normal(p, m), plain_adjoint(from, plain_forward(from, m)));
  values weighted = m;
  for (std::size_t k = 0; k < m.size(); ++k) weighted[k] *= from.wtz[k];
  EXPECT_EQ(predicted_data(p, m), plain_forward(from, weighted));
}

TEST(ProblemProducts, OfACompressedProblemHaveTheBitsOfTheProcedures) {
  const small_parts from;
  problem p = make_problem(from.sparse());
  const values m = small_parts::counting(small_parts::ncol), d{1, -2, 0.5};
  const values predicted = forward(p, m), back = adjoint(p, d), both = normal(p, m);
  EXPECT_EQ(predicted[1], 0);  // an empty row
  EXPECT_NE(predicted[0], 0);
  call(p, [&] {
    values expected(3), model(m.size()), y(m.size());
    GPROD(m, expected);
    GTPROD(model, d);
    GTGPROD(m, y);
    EXPECT_EQ(predicted, expected);
    EXPECT_EQ(back, model);
    EXPECT_EQ(both, y);
  });
}

TEST(ProblemProducts, OfCellsThatAreNotAllActiveTakeActiveModels) {
  const small_parts from;
  problem p = make_problem(from.dense());
  call(p, [] {  // the first cell is out
    cells.cell_map(1, 1, 1) = 0;
    for (i4& e : cells.cell_map)
      if (e > 0) --e;
    --cells.ncell;
    ++cells.ninactive;
  });
  values m = small_parts::counting(small_parts::ncol - 1), below = m;
  below.insert(below.begin(), 0.0);
  EXPECT_EQ(forward(p, m), plain_forward(from, below));
  for (std::size_t k = 0; k < below.size(); ++k) below[k] *= from.wtz[k];
  EXPECT_EQ(predicted_data(p, m), plain_forward(from, below));
}

TEST(ProblemProducts, OfAnEmptySurveySaySo) {
  const test::temporary_folder folder;
  const auto file = test::sensitivity_file(1, 2, 2).haar().row({{1, 1.0F}}).row({{2, 1.0F}});
  problem p = load_problem(folder.write("g.mtx", file.bytes()));
  const values m(4), d(2);
  EXPECT_EQ(refusal_of([&] { forward(p, m); }), "the survey holds no data");
  EXPECT_EQ(refusal_of([&] { predicted_data(p, m); }), "the survey holds no data");
  EXPECT_EQ(refusal_of([&] { adjoint(p, d); }), "the survey holds no data");
  EXPECT_EQ(refusal_of([&] { normal(p, m); }), "the survey holds no data");
  call(p, [] { survey.ndata = 1; });
  EXPECT_EQ(refusal_of([&] { forward(p, m); }), "ndata /= # of rows");
  problem empty;
  EXPECT_EQ(refusal_of([&] { forward(empty, {}); }), "the problem holds no G");
}

TEST(ProblemProducts, OfVectorsThatDoNotFitAreRefused) {
  const small_parts from;
  for (const problem_parts& parts : {from.dense(), from.sparse()}) {
    problem p = make_problem(parts);
    for (const std::size_t n : {0U, 19U, 21U, 24U}) {
      const values m(n), d(n);
      EXPECT_EQ(refusal_of([&] { forward(p, m); }), "size(m) /= ncell");
      EXPECT_EQ(refusal_of([&] { predicted_data(p, m); }), "size(m) /= ncell");
      EXPECT_EQ(refusal_of([&] { normal(p, m); }), "size(m) /= ncell");
      EXPECT_EQ(refusal_of([&] { adjoint(p, d); }), "size(d) /= ndata");
    }
  }
}

}  // namespace
}  // namespace velko
