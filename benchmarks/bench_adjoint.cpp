// The adjoint and normal products beside the forward product, loop for loop.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "benchmarks/product_problems.h"
#include "products/full_rows.h"
#include "products/products.h"
#include "products/sparse_rows.h"
#include "store/state.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

/// What CALC_GTV does, one number at a time on one thread.
values plain_adjoint(const sparse_problem& p) {
  values y(p.cube.size());
  for (std::size_t i = 0; i < p.d.size(); ++i)
    for (auto k = static_cast<std::size_t>(p.first[i]); k < static_cast<std::size_t>(p.first[i + 1]); ++k)
      y[static_cast<std::size_t>(p.idx[k] - 1)] += static_cast<r8>(p.val[k]) * p.d[i];
  return y;
}

values plain_adjoint(const dense_problem& p) {
  values y(p.m.size());
  const r4* g = store.Gfull.first();
  for (const r8 d : p.d)
    for (r8& yk : y) yk += static_cast<r8>(*g++) * d;
  return y;
}

r8 largest(const values& a) {
  r8 size = 0;
  for (const r8 x : a) size = std::max(size, std::abs(x));
  return size;
}

/// A copy where the products keep such vectors, in huge pages.
owned_array1<r8> in_huge_pages(const values& a) {
  owned_array1<r8> copy(uninitialised, a.size());
  std::copy(a.begin(), a.end(), copy.begin());
  return copy;
}

/// One of the three loops on one problem, its result checked against the plain loop: 0 forward, 1 adjoint, 2 normal.
template <class problem, class member, class loop>
void row_loops(benchmark::State& state, int which, member model, loop GV, loop GTV, loop GTGV) {
  problem p(state);
  owned_array1<r8> v = in_huge_pages(p.*model), y(v.size());
  values d(p.d.size());
  GV(v.elements(), p.d);
  const std::array<std::function<void()>, 3> loops{[&] { GV(v.elements(), d); },
                                                   [&] { GTV(p.d, y.elements()); },
                                                   [&] { GTGV(v.elements(), y.elements()); }};
  const auto& product = loops[static_cast<std::size_t>(which)];
  product();
  const values right = plain_adjoint(p), result(y.begin(), y.end());
  if (which > 0 && !agree(result, right, 1e-12 * largest(right))) return state.SkipWithError("wrong answer");
  for (auto _ : state) product();
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_sparse(benchmark::State& state, int which) {
  const auto of_one_model = [](auto* loop) {
    return std::function<void(std::span<const r8>, std::span<r8>)>([loop](auto v, auto y) { loop(v, y, 1); });
  };
  row_loops<sparse_problem>(state, which, &sparse_problem::cube, of_one_model(CALC_GV),
                            of_one_model(CALC_GTV), of_one_model(CALC_GTGV_1LOOP));
}

void BM_dense(benchmark::State& state, int which) {
  row_loops<dense_problem>(state, which, &dense_problem::m, CALC_FULL_GV, CALC_FULL_GTV, CALC_FULL_GTGV);
}

/// The same with the transform and the mapping around the loops; every element of the cube is an active cell.
void BM_product(benchmark::State& state, int which) {
  sparse_problem p(state);
  const auto edge = static_cast<i4>(std::lround(std::cbrt(state.range(0))));
  mesh.nx = mesh.ny = mesh.nz = store.ncube_x = store.ncube_y = store.ncube_z = edge;
  cells.ntotal = cells.ncell = store.ncube = static_cast<i4>(state.range(0));
  cells.cell_map = owned_array3<i4>(edge, edge, edge);
  i4 cell = 0;
  for (i4& e : cells.cell_map) e = ++cell;
  const r8 s = std::sqrt(3.0), q = 4 * std::sqrt(2.0);
  SET_WTN_FILTER(values{(1 + s) / q, (3 + s) / q, (3 - s) / q, (1 - s) / q}, 4);
  store.compressed = true;
  values y(p.cube.size());
  const std::array<std::function<void()>, 3> products{[&] { GPROD(p.cube, p.d); }, [&] { GTPROD(y, p.d); },
                                                      [&] { GTGPROD(p.cube, y); }};
  for (auto _ : state) products[static_cast<std::size_t>(which)]();
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void sparse(benchmark::internal::Benchmark* b) {  // cubes of 256 KiB, 8 MiB and 64 MiB
  b->Args({32 * 32 * 32, 60000})->Args({128 * 128 * 64, 2000})->Args({256 * 256 * 128, 250})->UseRealTime();
}
void dense(benchmark::internal::Benchmark* b) {  // a matrix in cache, one of 240 MB, and one of few long rows
  b->Args({1000, 40})->Args({30000, 2000})->Args({1000000, 64})->UseRealTime();
}
void cubes(benchmark::internal::Benchmark* b) {  // 256 KiB, 2 MiB and 16 MiB
  b->Args({32 * 32 * 32, 60000})->Args({64 * 64 * 64, 8000})->Args({128 * 128 * 128, 1000})->UseRealTime();
}
BENCHMARK_CAPTURE(BM_sparse, forward, 0)->Apply(sparse);
BENCHMARK_CAPTURE(BM_sparse, adjoint, 1)->Apply(sparse);
BENCHMARK_CAPTURE(BM_sparse, normal, 2)->Apply(sparse);
BENCHMARK_CAPTURE(BM_dense, forward, 0)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense, adjoint, 1)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense, normal, 2)->Apply(dense);
BENCHMARK_CAPTURE(BM_product, GPROD, 0)->Apply(cubes);
BENCHMARK_CAPTURE(BM_product, GTPROD, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_product, GTGPROD, 2)->Apply(cubes);

}  // namespace
}  // namespace velko
