// WTN on cubes: each instruction set, beside the plain routine line by line, GSL on the same lines, and the time that
// three passes over the cube's memory take.
#include <benchmark/benchmark.h>
#include <gsl/gsl_wavelet.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

using values = std::vector<r8>;
using shape = std::array<i4, 3>;

constexpr int daubechies_coefficients = 4;

void set_filter(benchmark::State& state) {
  gsl_wavelet* w = gsl_wavelet_alloc(gsl_wavelet_daubechies, static_cast<std::size_t>(state.range(1)));
  SET_WTN_FILTER({w->h1, w->nc}, static_cast<i4>(w->nc));
  gsl_wavelet_free(w);
}

values random_cube(std::size_t n) {
  std::mt19937 generator(1);
  std::normal_distribution<r8> normal;
  values a(n);
  for (r8& x : a) x = normal(generator);
  return a;
}

/// Every line copied out, transformed with the given routine and copied back: the loops of WTN without its batches.
template <class transform>
void line_by_line(values& a, i4 n, transform&& of_line) {
  values line(static_cast<std::size_t>(n));
  const std::size_t size = a.size();
  std::size_t stride = 1;
  for (int dimension = 0; dimension < 3; ++dimension, stride *= line.size())
    for (std::size_t block = 0; block < size; block += stride * line.size())
      for (std::size_t i1 = block; i1 < block + stride; ++i1) {
        for (std::size_t k = 0; k < line.size(); ++k) line[k] = a[i1 + k * stride];
        of_line(line);
        for (std::size_t k = 0; k < line.size(); ++k) a[i1 + k * stride] = line[k];
      }
}

void plain_transform(values& a, i4 n) {
  line_by_line(a, n, [n](values& line) {
    for (i4 nt = n; nt >= 4; nt /= 2) PWT(std::span(line).first(static_cast<std::size_t>(nt)), nt, true);
  });
}

std::size_t elements(const benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  return n * n * n;
}

void count_bytes(benchmark::State& state) {  // each pass reads and writes the cube
  state.SetBytesProcessed(state.iterations() * static_cast<i8>(elements(state)) * 3 * 2 * 8);
}

void BM_WTN(benchmark::State& state, instruction_set set, i4 isign) {
  if (!machine_has(set)) return state.SkipWithError("not on this machine");
  set_filter(state);
  const auto n = static_cast<i4>(state.range(0));
  values a = random_cube(elements(state)), plain = a;
  plain_transform(plain, n);
  WTN_for(set, a, {n, n, n}, 1);
  if (std::memcmp(a.data(), plain.data(), a.size() * sizeof(r8)) != 0)
    return state.SkipWithError("wrong answer");
  for (auto _ : state) WTN_for(set, a, {n, n, n}, isign);
  count_bytes(state);
}

void BM_plain_lines(benchmark::State& state) {
  set_filter(state);
  values a = random_cube(elements(state));
  for (auto _ : state) plain_transform(a, static_cast<i4>(state.range(0)));
  count_bytes(state);
}

void BM_GSL_lines(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  gsl_wavelet* w = gsl_wavelet_alloc(gsl_wavelet_daubechies, static_cast<std::size_t>(state.range(1)));
  gsl_wavelet_workspace* work = gsl_wavelet_workspace_alloc(n);
  values a = random_cube(elements(state));
  for (auto _ : state)
    line_by_line(a, static_cast<i4>(n),
                 [&](values& line) { gsl_wavelet_transform_forward(w, line.data(), 1, line.size(), work); });
  gsl_wavelet_workspace_free(work);
  gsl_wavelet_free(w);
  count_bytes(state);
}

void BM_three_passes_over_the_cube(benchmark::State& state) {
  values a = random_cube(elements(state));
  for (auto _ : state)
    for (int pass = 0; pass < 3; ++pass) {
      for (r8& x : a) x = -x;
      benchmark::ClobberMemory();
    }
  count_bytes(state);
}

void cubes(benchmark::internal::Benchmark* b) {
  for (const int n : {32, 64, 128, 256})
    for (const int coefficients : {daubechies_coefficients, 12}) b->Args({n, coefficients});
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(BM_WTN, sse2, instruction_set::sse2, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx2, instruction_set::avx2, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx512, instruction_set::avx512, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, sse2_inverse, instruction_set::sse2, -1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx2_inverse, instruction_set::avx2, -1)->Apply(cubes);
BENCHMARK(BM_plain_lines)->Apply(cubes);
BENCHMARK(BM_GSL_lines)->Apply(cubes);
BENCHMARK(BM_three_passes_over_the_cube)->Apply(cubes);

}  // namespace
}  // namespace velko
