// Row kernels: the sums of one row, in the one shape that they may have, and rows added to a vector.
#include "products/row_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <iostream>
#include <numeric>
#include <utility>

#include "tests/products/problem.h"

namespace velko::test {
namespace {

/// Eight partial sums of the terms, then the last ones from left to right: too simple to be wrong.
r8 in_fixed_shape(const values& terms) {
  const std::size_t n8 = terms.size() / 8 * 8;
  r8 part[8] = {};
  for (std::size_t k = 0; k < n8; ++k) part[k % 8] += terms[k];
  r8 s = ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
  for (std::size_t k = n8; k < terms.size(); ++k) s += terms[k];
  return s;
}

/// A row of both kinds with its model, each `shift` elements behind an even start.
struct row_problem {
  row_problem(std::size_t length, std::size_t shift_g, std::size_t shift_m) : n(length) {
    for (r8 x : random_values(dense_rows_at_once * n, 5)) val.push_back(static_cast<r4>(x));
    val.insert(val.begin(), shift_g, 0.0f);
    model = random_values(n + shift_m + 1, 6);
    std::mt19937 generator(7);
    for (std::size_t k = 0; k < n; ++k) idx.push_back(1 + static_cast<i4>(generator() % n));
    idx.insert(idx.begin(), shift_g, 0);
    g = val.data() + shift_g;
    m = model.data() + shift_m;
    at = idx.data() + shift_g;
  }
  row_problem(const row_problem&) = delete;
  row_problem& operator=(const row_problem&) = delete;
  ~row_problem() = default;

  values dense_terms(std::size_t row) const {
    values terms(n);
    for (std::size_t k = 0; k < n; ++k) terms[k] = static_cast<r8>(g[row * n + k]) * m[k];
    return terms;
  }

  std::size_t n;
  std::vector<r4> val;
  std::vector<i4> idx;
  values model;
  const r4* g;
  const i4* at;
  const r8* m;
};

/// What add_row does to rows one after another: one multiplication and one addition for each element.
values with_rows_added(const row_problem& p, values y, const values& s) {
  for (std::size_t r = 0; r < s.size(); ++r)
    for (std::size_t k = 0; k < p.n; ++k) y[k] += static_cast<r8>(p.g[r * p.n + k]) * s[r];
  return y;
}

values with_sparse_row_added(const row_problem& p, values y, r8 s) {
  for (std::size_t k = 0; k < p.n; ++k)
    y[static_cast<std::size_t>(p.at[k] - 1)] += static_cast<r8>(p.g[k]) * s;
  return y;
}

/// As many vectors, interleaved.
values interleaved(const std::vector<values>& vectors) {
  values all;
  for (std::size_t i = 0; i < vectors.front().size(); ++i)
    for (const values& v : vectors) all.push_back(v[i]);
  return all;
}

const std::vector<std::size_t> lengths{0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,  15,   16,
                                       17, 23, 24, 25, 31, 32, 33, 63, 64, 65, 100, 1000, 4099};

void expect_fixed_shape(const row_kernels& kernels, const row_problem& p) {
  const auto n = static_cast<i8>(p.n);
  EXPECT_TRUE(same_bits({kernels.row_dot(p.g, p.m, n)}, {in_fixed_shape(p.dense_terms(0))}));
  values y(dense_rows_at_once, 7.0), rows;
  kernels.row_dots(p.g, n, p.m, n, y.data());
  for (std::size_t r = 0; r < dense_rows_at_once; ++r) rows.push_back(in_fixed_shape(p.dense_terms(r)));
  EXPECT_TRUE(same_bits(y, rows));

  values models, right;
  for (std::size_t l = 0; l < dense_models_at_once; ++l) {
    const values model = random_values(p.n + 3, static_cast<unsigned>(l));
    values terms(p.n);
    for (std::size_t k = 0; k < p.n; ++k) terms[k] = static_cast<r8>(p.g[k]) * model[k];
    right.push_back(in_fixed_shape(terms));
    models.insert(models.end(), model.begin(), model.end());
  }
  kernels.row_dots_of_models(p.g, models.data(), n + 3, n, y.data());
  EXPECT_TRUE(same_bits(y, right));
}

/// y is what m holds, and one element more that no row may touch.
void expect_row_added(const row_kernels& kernels, const row_problem& p) {
  const auto n = static_cast<i8>(p.n);
  const values s{0.3, -1.7, 1e3, 1.1}, before(p.m, p.m + p.n + 1);
  values y = before;
  kernels.add_row(p.g, s[0], n, y.data());
  EXPECT_TRUE(same_bits(y, with_rows_added(p, before, {s[0]})));
  y = before;
  kernels.add_rows(p.g, n, s.data(), n, y.data());
  EXPECT_TRUE(same_bits(y, with_rows_added(p, before, s)));
}

void expect_fixed_shape_for_models(const sparse_kernels& kernels, const row_problem& p) {
  const auto n = static_cast<i8>(p.n);
  std::vector<values> cubes;
  values right;
  for (i8 l = 0; l < kernels.models; ++l) {
    values cube(p.m, p.m + p.n), terms(p.n);
    for (r8& x : cube) x *= 1.1 + static_cast<r8>(l);
    for (std::size_t k = 0; k < p.n; ++k)
      terms[k] = static_cast<r8>(p.g[k]) * cube[static_cast<std::size_t>(p.at[k] - 1)];
    right.push_back(in_fixed_shape(terms));
    cubes.push_back(cube);
  }
  std::atomic<bool> outside = false;
  values y(right.size(), 7.0);
  kernels.row_dots({p.g, p.at, n}, interleaved(cubes).data(), n, y.data(), outside);
  EXPECT_TRUE(same_bits(y, right));
  EXPECT_FALSE(outside);
}

/// The slab is the whole cube, at positions from `first` on.
void expect_sparse_row_added(const sparse_kernels& kernels, const row_problem& p) {
  const auto n = static_cast<i8>(p.n);
  for (const i8 first : {i8{1}, i8{77}}) {
    values s;
    std::vector<values> before, after;
    for (i8 l = 0; l < kernels.models; ++l) {
      s.push_back(0.3 - static_cast<r8>(l));
      before.push_back(random_values(p.n + 1, static_cast<unsigned>(l + 20)));
      after.push_back(with_sparse_row_added(p, before.back(), s.back()));
    }
    std::vector<i4> idx(p.at, p.at + p.n);
    for (i4& at : idx) at += static_cast<i4>(first - 1);
    values y = interleaved(before);
    std::atomic<bool> outside = false;
    kernels.add_row({p.g, idx.data(), n}, s.data(), {y.data(), first, n}, outside);
    EXPECT_FALSE(outside);
    EXPECT_TRUE(same_bits(y, interleaved(after)));
  }
}

/// Compares every set that the machine has, at all lengths and alignments.
template <class body>
void for_every_set(body&& expect) {
  for (const instruction_set set : all_instruction_sets) {
    std::cout << name_of(set)
              << (machine_has(set) ? ": compared\n" : ": not on this machine, not compared\n");
    if (!machine_has(set)) continue;
    for (const std::size_t n : lengths)
      for (std::size_t shift_g = 0; shift_g < 5; ++shift_g)
        for (std::size_t shift_m = 0; shift_m < 3; ++shift_m) {
          SCOPED_TRACE(testing::Message()
                       << name_of(set) << " n " << n << " shifts " << shift_g << " " << shift_m);
          expect(set, row_problem(n, shift_g, shift_m));
        }
  }
}

/// Likewise, for each number of models.
template <class body>
void for_every_sparse_kernel(body&& expect) {
  for_every_set([&](instruction_set set, const row_problem& p) {
    for (const i8 models : numbers_of_models) {
      SCOPED_TRACE(testing::Message() << models << " models");
      expect(sparse_kernels_for(set, models), p);
    }
  });
}

TEST(RowKernels, EveryInstructionSetHasTheFixedShapeAtAllLengthsAndAlignments) {
  for_every_set(
      [](instruction_set set, const row_problem& p) { expect_fixed_shape(row_kernels_for(set), p); });
  for_every_sparse_kernel(expect_fixed_shape_for_models);
}

TEST(RowKernels, EveryInstructionSetAddsRowsAsAPlainLoopDoesAtAllLengthsAndAlignments) {
  for_every_set([](instruction_set set, const row_problem& p) { expect_row_added(row_kernels_for(set), p); });
  for_every_sparse_kernel(expect_sparse_row_added);
}

TEST(RowKernels, PositionsOutsideTheCubeTouchNothingOutsideIt) {
  constexpr std::array far{0, -1, -2147483647 - 1, 2147483647, 1 << 20};
  for_every_sparse_kernel([&](const sparse_kernels& kernels, const row_problem& p) {
    if (p.n == 0) return;
    const auto n = static_cast<i8>(p.n);
    const auto models = static_cast<std::size_t>(kernels.models);
    std::vector<i4> idx;
    for (std::size_t k = 0; k < p.n; ++k) idx.push_back(far[k % far.size()]);
    values around((p.n + 2) * models, 1.0);
    r8* const cubes = around.data() + models;
    std::fill_n(around.begin(), models, std::nan(""));
    std::fill_n(around.end() - static_cast<std::ptrdiff_t>(models), models, std::nan(""));
    std::atomic<bool> outside = false;
    values y(models);
    kernels.row_dots({p.g, idx.data(), n}, cubes, n, y.data(), outside);
    for (const r8 dot : y) EXPECT_FALSE(std::isnan(dot));
    kernels.add_row({p.g, idx.data(), n}, values(models, 1.0).data(), {cubes, 3, n}, outside);
    for (std::size_t l = 0; l < models; ++l) {
      EXPECT_TRUE(std::isnan(around[l]));
      EXPECT_TRUE(std::isnan(around[around.size() - 1 - l]));
    }
    for (std::size_t k = models; k < around.size() - models; ++k) EXPECT_FALSE(std::isnan(around[k]));
  });
}

TEST(RowKernels, OnePositionOutsideTheCubeOrTheSlabIsToldWhereverItStands) {
  for_every_sparse_kernel([](const sparse_kernels& kernels, const row_problem& p) {
    const auto n = static_cast<i8>(p.n);
    std::vector<i4> idx(p.at, p.at + p.n);
    const values s(static_cast<std::size_t>(kernels.models), 1.0);
    values cubes(p.n * s.size()), y(s.size());
    for (std::size_t k = 0; k < std::min<std::size_t>(p.n, 40); ++k)
      for (const i4 at : {0, static_cast<i4>(n) + 1}) {
        const i4 before = std::exchange(idx[k], at);
        std::atomic<bool> in_dot = false, in_sum = false;
        kernels.row_dots({p.g, idx.data(), n}, cubes.data(), n, y.data(), in_dot);
        kernels.add_row({p.g, idx.data(), n}, s.data(), {cubes.data(), 1, n}, in_sum);
        EXPECT_TRUE(in_dot && in_sum) << "element " << k << " at " << at;
        idx[k] = before;
      }
  });
}

TEST(RowKernels, WhatIsToldStaysTold) {
  const row_problem p(9, 0, 0);
  std::atomic<bool> outside = true;
  r8 y = 0;
  best_sparse_kernels(1).row_dots({p.g, p.at, 9}, p.m, 9, &y, outside);
  EXPECT_TRUE(outside);
}

TEST(RowKernels, RowsUnderEightAreSummedStrictlyFromLeftToRight) {
  // 1 is lost beside 1e16 wherever it is added to it, so the result tells the order.
  const r4 g[7] = {1, 1, 1, 1, 1, 1, 1};
  const r8 m[7] = {1, 1e16, 1, -1e16, 1, 1, 1};
  const i4 idx[7] = {1, 2, 3, 4, 5, 6, 7};
  std::atomic<bool> outside = false;
  for (i8 n = 0; n <= 7; ++n) {
    const r8 left_to_right = std::accumulate(m, m + n, 0.0);
    EXPECT_EQ(best_row_kernels().row_dot(g, m, n), left_to_right);
    if (n == 0) continue;
    r8 y = 0;
    best_sparse_kernels(1).row_dots({g, idx, n}, m, n, &y, outside);
    EXPECT_EQ(y, left_to_right);
  }
}

TEST(RowKernels, ValuesAreWidenedBeforeTheyAreMultiplied) {
  const r4 g[1] = {0.1f};
  const r8 m[1] = {0.1};
  EXPECT_EQ(best_row_kernels().row_dot(g, m, 1), static_cast<r8>(0.1f) * 0.1);
}

TEST(RowKernels, SumsAgreeWithLongDoubleArithmetic) {
  const row_problem p(4099, 0, 0);
  long double sum = 0, size = 0;
  for (const r8 term : p.dense_terms(0)) {
    sum += term;
    size += std::abs(term);
  }
  // n / 8 additions in each part: their rounding errors stay below n / 8 eps times the sum of sizes.
  EXPECT_NEAR(best_row_kernels().row_dot(p.g, p.m, 4099), static_cast<r8>(sum),
              4099 / 8 * 2.3e-16 * static_cast<r8>(size));
}

}  // namespace
}  // namespace velko::test
