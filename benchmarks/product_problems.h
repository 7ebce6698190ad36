/// Matrices of both forms for the benchmarks of the products, put into the shared state.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "store/state.h"

namespace velko {

using values = std::vector<r8>;

inline values random_values(std::size_t n) {
  std::mt19937 generator(1);
  std::uniform_real_distribution<r8> uniform(-1, 1);
  values a(n);
  for (r8& x : a) x = uniform(generator);
  return a;
}

inline bool agree(const values& a, const values& b, r8 tolerance) {
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!(std::abs(a[i] - b[i]) <= tolerance)) return false;
  return true;
}

/// Dense G of range(0) columns and range(1) rows.
struct dense_problem {
  explicit dense_problem(const benchmark::State& state)
      : m(random_values(static_cast<std::size_t>(state.range(0)))),
        d(static_cast<std::size_t>(state.range(1))) {
    reset_state();
    owned_array2<r4> G(uninitialised, state.range(0), state.range(1));
    std::uint32_t x = 1;
    for (r4& g : G)
      g = static_cast<r4>(static_cast<std::int32_t>(x = x * 1664525 + 1013904223)) / 2147483648.0f;
    store.Gfull = std::move(G);
  }
  values plain() const {
    values y(d.size());
    const i8 n = static_cast<i8>(m.size());
    const r4* G = store.Gfull.first();
#pragma omp parallel for schedule(static)
    for (i8 i = 0; i < static_cast<i8>(y.size()); ++i) {
      r8 s = 0;
      for (i8 k = 0; k < n; ++k) s += static_cast<r8>(G[i * n + k]) * m[static_cast<std::size_t>(k)];
      y[static_cast<std::size_t>(i)] = s;
    }
    return y;
  }
  i8 bytes() const {
    return store.Gfull.size() * i8{sizeof(r4)};
  }
  values m, d;
};

/// Sparse G on a cube of range(0) elements, range(1) rows with the share of coefficients that compression leaves, their
/// positions random and ascending.
struct sparse_problem {
  explicit sparse_problem(const benchmark::State& state)
      : cube(random_values(static_cast<std::size_t>(state.range(0)))),
        d(static_cast<std::size_t>(state.range(1))) {
    reset_state();
    std::mt19937 generator(2);
    const auto step = static_cast<std::uint32_t>(2 / 0.013);
    for (std::size_t i = 0; i < d.size(); ++i) {
      first.push_back(static_cast<i8>(idx.size()));
      for (i8 at = 1 + generator() % step; at <= state.range(0); at += 1 + generator() % step) {
        idx.push_back(static_cast<i4>(at));
        val.push_back(static_cast<r4>(generator()) / 4294967296.0f);
      }
    }
    first.push_back(static_cast<i8>(idx.size()));
    survey.ndata = static_cast<i4>(d.size());
    store.Gs = owned_array1<sparse_row>(survey.ndata);
    for (std::size_t i = 0; i < d.size(); ++i) {
      const i8 nnz = first[i + 1] - first[i];
      store.Gs(i + 1) = {array1<r4>(val.data() + first[i], nnz), array1<i4>(idx.data() + first[i], nnz)};
    }
  }
  /// The product of a matrix in compressed-row storage.
  void csr(values& y) const {
#pragma omp parallel for schedule(static)
    for (i8 i = 0; i < static_cast<i8>(y.size()); ++i) {
      r8 s = 0;
      const auto row = static_cast<std::size_t>(i);
      for (auto k = static_cast<std::size_t>(first[row]); k < static_cast<std::size_t>(first[row + 1]); ++k)
        s += static_cast<r8>(val[k]) * cube[static_cast<std::size_t>(idx[k] - 1)];
      y[row] = s;
    }
  }
  i8 bytes() const {
    return 8 * static_cast<i8>(idx.size());
  }

  values cube, d;
  std::vector<r4> val;
  std::vector<i4> idx;
  std::vector<i8> first;
};

}  // namespace velko
