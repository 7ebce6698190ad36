// The adjoint and normal products beside the forward product, loop for loop, and the merge of the private sums beside a
// critical section.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <vector>

#include "benchmarks/product_problems.h"
#include "products/full_rows.h"
#include "products/private_sums.h"
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
  const r4* g = store.Gfull.data();
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

bool all_are(const owned_array1<r8>& a, r8 x) {
  return std::all_of(a.begin(), a.end(), [x](r8 y) { return y == x; });
}

/// One of the three loops on one problem, its result checked against the plain loop: 0 forward, 1 adjoint, 2 normal.
template <auto GV, auto GTV, auto GTGV, class problem, class member>
void row_loops(benchmark::State& state, int which, member model) {
  problem p(state);
  owned_array1<r8> v = in_huge_pages(p.*model), y(v.size());
  values d(p.d.size());
  GV(v.elements(), p.d);
  const std::array<std::function<void()>, 3> loops{[&] { GV(v.elements(), d); },
                                                   [&] { GTV(p.d, y.elements()); },
                                                   [&] { GTGV(v.elements(), y.elements()); }};
  const auto& loop = loops[static_cast<std::size_t>(which)];
  loop();
  const values right = plain_adjoint(p), result(y.begin(), y.end());
  if (which > 0 && !agree(result, right, 1e-12 * largest(right))) return state.SkipWithError("wrong answer");
  for (auto _ : state) loop();
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_sparse(benchmark::State& state, int which) {
  row_loops<CALC_GV, CALC_GTV, CALC_GTGV_1LOOP, sparse_problem>(state, which, &sparse_problem::cube);
}

void BM_dense(benchmark::State& state, int which) {
  row_loops<CALC_FULL_GV, CALC_FULL_GTV, CALC_FULL_GTGV, dense_problem>(state, which, &dense_problem::m);
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

/// Arrays of range(0) elements, one for each of range(1) threads, filled and ready to be added to y.
struct merge_problem {
  explicit merge_problem(const benchmark::State& state)
      : size(state.range(0)), threads(static_cast<int>(state.range(1))) {}
  i8 size;
  int threads;
};

/// What sum_blocks does, with rows that add 1 to every element.
void BM_private_sums(benchmark::State& state) {
  const merge_problem p(state);
  omp_set_num_threads(p.threads);
  owned_array1<r8> y(p.size);
  const auto product = [&] {
    sum_blocks(y.elements(), p.threads, [&](i8, r8* sum) {
      for (i8 k = 0; k < p.size; ++k) sum[k] += 1;
    });
  };
  product();
  if (!all_are(y, p.threads)) return state.SkipWithError("wrong answer");
  for (auto _ : state) product();
}

/// The peer: an array for each thread, added to y in the order in which the threads arrive.
void BM_critical_section(benchmark::State& state) {
  const merge_problem p(state);
  omp_set_num_threads(p.threads);
  owned_array1<r8> y(p.size);
  const auto product = [&] {
    std::fill(y.begin(), y.end(), 0.0);
#pragma omp parallel
    {
      owned_array1<r8> mine(p.size);
      for (r8& x : mine) x += 1;
#pragma omp critical
      for (i8 k = 0; k < p.size; ++k) y.data()[k] += mine.data()[k];
    }
  };
  product();
  if (!all_are(y, p.threads)) return state.SkipWithError("wrong answer");
  for (auto _ : state) product();
}

/// The merge alone, of arrays that are there: slices in thread order.
void BM_merge_by_slices(benchmark::State& state) {
  const merge_problem p(state);
  omp_set_num_threads(p.threads);
  owned_array1<r8> y(p.size);
  private_sums sums(y.elements(), p.threads);
#pragma omp parallel num_threads(p.threads)
  sums.make_mine();
  for (auto _ : state)
#pragma omp parallel num_threads(p.threads)
    sums.merge_my_slice();
}

/// The same by the critical section, with as many arrays and y besides.
void BM_merge_by_critical_section(benchmark::State& state) {
  const merge_problem p(state);
  omp_set_num_threads(p.threads);
  owned_array1<r8> y(p.size);
  std::vector<owned_array1<r8>> all(static_cast<std::size_t>(p.threads));
#pragma omp parallel
  all[static_cast<std::size_t>(omp_get_thread_num())] = owned_array1<r8>(p.size);
  for (auto _ : state)
#pragma omp parallel
  {
    const r8* mine = all[static_cast<std::size_t>(omp_get_thread_num())].data();
#pragma omp critical
    for (i8 k = 0; k < p.size; ++k) y.data()[k] += mine[k];
  }
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
void merges(benchmark::internal::Benchmark* b) {  // on two threads, and on all that the machine has
  std::set<int> teams{2, omp_get_num_procs()};
  for (const int threads : teams)
    for (const int power : {16, 18, 20, 24}) b->Args({1 << power, threads});
  b->UseRealTime();
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

BENCHMARK(BM_private_sums)->Apply(merges);
BENCHMARK(BM_critical_section)->Apply(merges);
BENCHMARK(BM_merge_by_slices)->Apply(merges);
BENCHMARK(BM_merge_by_critical_section)->Apply(merges);

}  // namespace
}  // namespace velko
