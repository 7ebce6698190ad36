// The products with G: the row kernels of each instruction set and the row loops, beside plain loops, a CSR product,
// OpenBLAS and the speed at which the memory can be read.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "benchmarks/product_problems.h"
#include "products/full_rows.h"
#include "products/row_kernels.h"
#include "products/sparse_rows.h"
#include "store/state.h"

extern "C" {
void dgemv_(const char*, const int*, const int*, const double*, const double*, const int*, const double*,
            const int*, const double*, double*, const int*);
void sgemv_(const char*, const int*, const int*, const float*, const float*, const int*, const float*,
            const int*, const float*, float*, const int*);
}

namespace velko {
namespace {

void BM_CALC_FULL_GV(benchmark::State& state) {
  dense_problem p(state);
  CALC_FULL_GV(p.m, p.d);
  if (!agree(p.d, p.plain(), 1e-9)) return state.SkipWithError("wrong answer");
  for (auto _ : state) CALC_FULL_GV(p.m, p.d);
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_dense_plain_loop(benchmark::State& state) {
  dense_problem p(state);
  for (auto _ : state) benchmark::DoNotOptimize(p.d = p.plain());
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_dense_one_thread(benchmark::State& state, instruction_set set, bool grouped) {
  if (!machine_has(set)) return state.SkipWithError("not on this machine");
  dense_problem p(state);
  const row_kernels& kernels = row_kernels_for(set);
  const i8 n = static_cast<i8>(p.m.size()), rows = static_cast<i8>(p.d.size());
  const auto product = [&] {
    const r4* G = store.Gfull.first();
    if (grouped)
      for (i8 i = 0; i < rows; i += dense_rows_at_once)
        kernels.row_dots(G + i * n, n, p.m.data(), n, p.d.data() + i);
    else
      for (i8 i = 0; i < rows; ++i)
        p.d[static_cast<std::size_t>(i)] = kernels.row_dot(G + i * n, p.m.data(), n);
  };
  product();
  if (!agree(p.d, p.plain(), 1e-9)) return state.SkipWithError("wrong answer");
  for (auto _ : state) product();
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

/// The peer of double precision: its matrix takes twice the memory. Bytes are those of the r4 matrix, to compare.
void BM_dgemv(benchmark::State& state) {
  dense_problem p(state);
  const values G(store.Gfull.first(), store.Gfull.first() + store.Gfull.size());
  const int n = static_cast<int>(p.m.size()), rows = static_cast<int>(p.d.size()), one = 1;
  const double alpha = 1, beta = 0;
  for (auto _ : state)
    dgemv_("T", &n, &rows, &alpha, G.data(), &n, p.m.data(), &one, &beta, p.d.data(), &one);
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

/// The peer of single precision: the same matrix, but sums of r4.
void BM_sgemv(benchmark::State& state) {
  dense_problem p(state);
  const std::vector<r4> m(p.m.begin(), p.m.end());
  std::vector<r4> d(p.d.size());
  const int n = static_cast<int>(m.size()), rows = static_cast<int>(d.size()), one = 1;
  const float alpha = 1, beta = 0;
  for (auto _ : state)
    sgemv_("T", &n, &rows, &alpha, store.Gfull.first(), &n, m.data(), &one, &beta, d.data(), &one);
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

std::uint64_t sum_of_words(const void* bytes, i8 size) {
  const auto* word = static_cast<const std::uint64_t*>(bytes);
  std::uint64_t sum = 0;
#pragma omp parallel for schedule(static) reduction(+ : sum)
  for (i8 i = 0; i < size / 8; ++i) sum += word[i];
  return sum;
}

/// The limit: the same bytes, summed as integers.
void BM_read_the_dense_matrix(benchmark::State& state) {
  const dense_problem p(state);
  for (auto _ : state) benchmark::DoNotOptimize(sum_of_words(store.Gfull.first(), p.bytes()));
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

bool right(sparse_problem& p) {
  values y(p.d.size());
  p.csr(y);
  return agree(p.d, y, 1e-9);
}

void BM_CALC_GV(benchmark::State& state) {
  sparse_problem p(state);
  CALC_GV(p.cube, p.d);
  if (!right(p)) return state.SkipWithError("wrong answer");
  for (auto _ : state) CALC_GV(p.cube, p.d);
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_CSR_product(benchmark::State& state) {
  sparse_problem p(state);
  for (auto _ : state) {
    p.csr(p.d);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_sparse_one_thread(benchmark::State& state, instruction_set set) {
  if (!machine_has(set)) return state.SkipWithError("not on this machine");
  sparse_problem p(state);
  const sparse_kernels& kernels = sparse_kernels_for(set, 1);
  std::atomic<bool> outside = false;
  const auto product = [&] {
    for (std::size_t i = 0; i < p.d.size(); ++i) {
      const sparse_row& row = store.Gs(i + 1);
      kernels.row_dots({row.val.data(), row.idx.data(), row.idx.size()}, p.cube.data(), std::ssize(p.cube),
                       &p.d[i], outside);
    }
  };
  product();
  if (!right(p)) return state.SkipWithError("wrong answer");
  for (auto _ : state) product();
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void BM_read_the_sparse_rows(benchmark::State& state) {
  const sparse_problem p(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(sum_of_words(p.val.data(), p.bytes() / 2));
    benchmark::DoNotOptimize(sum_of_words(p.idx.data(), p.bytes() / 2));
  }
  state.SetBytesProcessed(state.iterations() * p.bytes());
}

void dense(benchmark::internal::Benchmark* b) {  // a matrix in cache, and one of 240 MB
  b->Args({1000, 40})->Args({30000, 2000})->UseRealTime();
}
void sparse(benchmark::internal::Benchmark* b) {  // cubes of 256 KiB, 8 MiB and 64 MiB
  b->Args({32 * 32 * 32, 60000})->Args({128 * 128 * 64, 2000})->Args({256 * 256 * 128, 250})->UseRealTime();
}

BENCHMARK(BM_CALC_FULL_GV)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense_one_thread, sse2_rows_alone, instruction_set::sse2, false)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense_one_thread, sse2_in_groups, instruction_set::sse2, true)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense_one_thread, avx2_rows_alone, instruction_set::avx2, false)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense_one_thread, avx2_in_groups, instruction_set::avx2, true)->Apply(dense);
BENCHMARK_CAPTURE(BM_dense_one_thread, avx512_in_groups, instruction_set::avx512, true)->Apply(dense);
BENCHMARK(BM_dense_plain_loop)->Apply(dense);
BENCHMARK(BM_dgemv)->Apply(dense);
BENCHMARK(BM_sgemv)->Apply(dense);
BENCHMARK(BM_read_the_dense_matrix)->Apply(dense);

BENCHMARK(BM_CALC_GV)->Apply(sparse);
BENCHMARK_CAPTURE(BM_sparse_one_thread, sse2, instruction_set::sse2)->Apply(sparse);
BENCHMARK_CAPTURE(BM_sparse_one_thread, avx2, instruction_set::avx2)->Apply(sparse);
BENCHMARK_CAPTURE(BM_sparse_one_thread, avx512, instruction_set::avx512)->Apply(sparse);
BENCHMARK(BM_CSR_product)->Apply(sparse);
BENCHMARK(BM_read_the_sparse_rows)->Apply(sparse);

}  // namespace
}  // namespace velko
