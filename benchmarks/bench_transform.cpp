// WTN on cubes: each instruction set, beside the plain routine line by line, GSL on the same lines, and the time that
// three copies of the cube take.
#include <benchmark/benchmark.h>
#include <gsl/gsl_wavelet.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

using values = std::vector<r8>;
using shape = std::array<i4, 3>;

constexpr int daubechies_coefficients = 4;

void set_filter(benchmark::State& state) {
  gsl_wavelet* w = gsl_wavelet_alloc(gsl_wavelet_daubechies, static_cast<std::size_t>(state.range(3)));
  SET_WTN_FILTER({w->h1, w->nc}, static_cast<i4>(w->nc));
  gsl_wavelet_free(w);
}

/// In huge pages, like the cubes of the products.
owned_array1<r8> random_cube(std::size_t n) {
  std::mt19937 generator(1);
  std::uniform_real_distribution<r8> uniform(-1, 1);
  owned_array1<r8> a(uninitialised, n);
  for (r8& x : a) x = uniform(generator);
  return a;
}

/// Every line copied out, transformed with the given routine and copied back: the loops of WTN without its batches.
template <class transform>
void line_by_line(std::span<r8> a, const shape& nn, transform&& of_line) {
  const std::size_t size = a.size();
  std::size_t stride = 1;
  for (const i4 n : nn) {
    values line(static_cast<std::size_t>(n));
    for (std::size_t block = 0; block < size; block += stride * line.size())
      for (std::size_t i1 = block; i1 < block + stride; ++i1) {
        for (std::size_t k = 0; k < line.size(); ++k) line[k] = a[i1 + k * stride];
        of_line(line);
        for (std::size_t k = 0; k < line.size(); ++k) a[i1 + k * stride] = line[k];
      }
    stride *= line.size();
  }
}

void plain_transform(std::span<r8> a, const shape& nn) {
  line_by_line(a, nn, [](values& line) {
    for (auto nt = static_cast<i4>(line.size()); nt >= 4; nt /= 2)
      PWT(std::span(line).first(static_cast<std::size_t>(nt)), nt, true);
  });
}

shape shape_of(const benchmark::State& state) {
  return {static_cast<i4>(state.range(0)), static_cast<i4>(state.range(1)), static_cast<i4>(state.range(2))};
}

std::size_t elements(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0) * state.range(1) * state.range(2));
}

void count_bytes(benchmark::State& state) {  // each pass reads and writes the cube
  state.SetBytesProcessed(state.iterations() * static_cast<i8>(elements(state)) * 3 * 2 * 8);
}

void BM_WTN(benchmark::State& state, instruction_set set, i4 isign) {
  if (!machine_has(set)) return state.SkipWithError("not on this machine");
  set_filter(state);
  const shape nn = shape_of(state);
  owned_array1<r8> cube = random_cube(elements(state)), plain = random_cube(elements(state));
  const std::span<r8> a = cube.elements();
  plain_transform(plain.elements(), nn);
  WTN_for(set, a, nn, 1);
  if (std::memcmp(a.data(), plain.data(), a.size_bytes()) != 0) return state.SkipWithError("wrong answer");
  for (auto _ : state) WTN_for(set, a, nn, isign);
  count_bytes(state);
}

void BM_plain_lines(benchmark::State& state) {
  set_filter(state);
  owned_array1<r8> a = random_cube(elements(state));
  for (auto _ : state) plain_transform(a.elements(), shape_of(state));
  count_bytes(state);
}

void BM_GSL_lines(benchmark::State& state) {
  const shape nn = shape_of(state);
  gsl_wavelet* w = gsl_wavelet_alloc(gsl_wavelet_daubechies, static_cast<std::size_t>(state.range(3)));
  gsl_wavelet_workspace* work = gsl_wavelet_workspace_alloc(static_cast<std::size_t>(std::ranges::max(nn)));
  owned_array1<r8> a = random_cube(elements(state));
  for (auto _ : state)
    line_by_line(a.elements(), nn,
                 [&](values& line) { gsl_wavelet_transform_forward(w, line.data(), 1, line.size(), work); });
  gsl_wavelet_workspace_free(work);
  gsl_wavelet_free(w);
  count_bytes(state);
}

/// The cube copied to and fro, three times in all.
void BM_three_copies(benchmark::State& state) {
  owned_array1<r8> a = random_cube(elements(state)), b = random_cube(elements(state));
  for (auto _ : state)
    for (int pass = 0; pass < 3; ++pass) {
      std::copy(a.begin(), a.end(), b.begin());
      benchmark::ClobberMemory();
      std::swap(a, b);
    }
  count_bytes(state);
}

void cubes(benchmark::internal::Benchmark* b) {
  for (const int coefficients : {daubechies_coefficients, 8, 12}) {
    for (const int n : {32, 64, 128}) b->Args({n, n, n, coefficients});
    b->Args({128, 256, 256, coefficients});
  }
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(BM_WTN, sse2, instruction_set::sse2, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx2, instruction_set::avx2, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx512, instruction_set::avx512, 1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, sse2_inverse, instruction_set::sse2, -1)->Apply(cubes);
BENCHMARK_CAPTURE(BM_WTN, avx2_inverse, instruction_set::avx2, -1)->Apply(cubes);
BENCHMARK(BM_plain_lines)->Apply(cubes);
BENCHMARK(BM_GSL_lines)->Apply(cubes);
BENCHMARK(BM_three_copies)->Apply(cubes);

}  // namespace
}  // namespace velko
