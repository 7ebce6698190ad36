// Problems side by side: what a scope costs, and products of two problems in turn beside those of each alone.
#include <benchmark/benchmark.h>

#include <array>
#include <optional>

#include "benchmarks/product_problems.h"
#include "products/sparse_rows.h"
#include "store/problem.h"

namespace velko {
namespace {

/// A sparse problem, and the state that it leaves.
struct held_problem {
  explicit held_problem(const benchmark::State& state) {
    const problem_scope scope(state_of);
    numbers.emplace(state);
  }
  void product() { CALC_GV(numbers->cube, numbers->d); }
  void product_in_scope() {
    const problem_scope scope(state_of);
    product();
  }

  problem state_of;
  std::optional<sparse_problem> numbers;
};

void BM_scope(benchmark::State& state) {
  held_problem p(state);
  for (auto _ : state) {
    const problem_scope scope(p.state_of);
    benchmark::DoNotOptimize(store.Gs.data());
  }
}

/// Each product in the shared state, where the problem stays.
void BM_alone(benchmark::State& state) {
  held_problem p(state);
  const problem_scope scope(p.state_of);
  for (auto _ : state) {
    p.product();
    p.product();
  }
}

/// Two problems of the same numbers, one after the other: the bits are those of each alone.
void BM_in_turn(benchmark::State& state) {
  std::array<held_problem, 2> two{held_problem(state), held_problem(state)};
  for (held_problem& p : two) p.product_in_scope();
  if (two[0].numbers->d != two[1].numbers->d) return state.SkipWithError("other bits");
  for (auto _ : state)
    for (held_problem& p : two) p.product_in_scope();
}

/// One problem whose two products have a scope each: the matrix in cache is the same as in BM_alone.
void BM_alone_with_a_scope_each(benchmark::State& state) {
  held_problem p(state);
  for (auto _ : state) {
    p.product_in_scope();
    p.product_in_scope();
  }
}

void sizes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"ncube", "rows"})
      ->Args({1 << 12, 16})
      ->Args({1 << 16, 1024})
      ->Args({1 << 20, 1024})
      ->UseRealTime();
}
BENCHMARK(BM_scope)->Args({1 << 16, 1024});
BENCHMARK(BM_alone)->Apply(sizes);
BENCHMARK(BM_alone_with_a_scope_each)->Apply(sizes);
BENCHMARK(BM_in_turn)->Apply(sizes);

}  // namespace
}  // namespace velko
