// The node sort, the triangulation and the surface over it, on points scattered over a square of rolling hills, one for
// each hundred square metres; beside it CGAL and Qhull on the same points, where these are installed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "arrays/array.h"
#include "benchmarks/topography_peers.h"
#include "topography/location.h"
#include "topography/node_sort.h"
#include "topography/triangulation.h"

namespace velko {
namespace {

using peers::triangles;

struct terrain {
  std::vector<r8> x, y, z;
  r8 side = 0;

  explicit terrain(std::size_t n) : side(10 * std::sqrt(static_cast<r8>(n))) {
    std::mt19937_64 generator(n);
    std::uniform_real_distribution<r8> anywhere(0, side);
    for (std::size_t i = 0; i < n; ++i) {
      x.push_back(anywhere(generator));
      y.push_back(anywhere(generator));
      z.push_back(height(x.back(), y.back()));
    }
  }
  i4 n() const { return static_cast<i4>(x.size()); }

  /// Hills of 1 km, 270 m and 70 m across.
  static r8 height(r8 x, r8 y) {
    constexpr r8 tau = 2 * std::numbers::pi;
    return 300 + 80 * std::sin(tau * x / 1000) * std::cos(tau * y / 1000) +
           20 * std::sin(tau * (x + y) / 270) + 3 * std::cos(tau * (x - 2 * y) / 70);
  }
};

template <class T>
array1<T> view(std::vector<T>& values) {
  return array1<T>(values.data(), static_cast<i8>(values.size()));
}

struct sorted_terrain : terrain {
  std::vector<i4> adj_list, adj_end;

  explicit sorted_terrain(std::size_t n) : terrain(n), adj_list(6 * n - 9), adj_end(n) {
    reorder_nodes(this->n(), 3, view(x), view(y), view(z), view(adj_end));
  }

  i4 triangulate() {
    i4 status = 0;
    build_triangulation(n(), view(x), view(y), view(adj_list), view(adj_end), status);
    return status;
  }

  triangles corners() const {
    triangles all;
    i4 first = 0;
    for (i4 k = 1; k <= n(); ++k) {
      const i4 end = adj_end[static_cast<std::size_t>(k - 1)];
      for (i4 p = first; p < end; ++p) {
        const i4 a = adj_list[static_cast<std::size_t>(p)];
        const i4 b = adj_list[static_cast<std::size_t>(p + 1 < end ? p + 1 : first)];
        if (k < a && k < b) all.push_back({k, a, b});  // from its smallest corner; beside a 0 there is none
      }
      first = end;
    }
    return all;
  }
};

triangles in_order(triangles all) {
  for (auto& corners : all) std::ranges::sort(corners);
  std::ranges::sort(all);
  return all;
}

std::size_t points(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

void per_point(benchmark::State& state) {
  state.counters["per_point"] =
      benchmark::Counter(static_cast<r8>(state.range(0)),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_sort(benchmark::State& state) {
  const terrain as_made(points(state));
  std::vector<i4> ind(points(state));
  for (auto _ : state) {
    state.PauseTiming();
    terrain t = as_made;
    state.ResumeTiming();
    reorder_nodes(t.n(), 3, view(t.x), view(t.y), view(t.z), view(ind));
    if (!std::ranges::is_sorted(t.x)) return state.SkipWithError("wrong answer");
  }
  per_point(state);
}

void BM_triangulation(benchmark::State& state) {
  sorted_terrain t(points(state));
  for (auto _ : state)
    if (t.triangulate() != 0) return state.SkipWithError("wrong answer");
  per_point(state);
}

/// The samples of a mesh over the terrain and a margin of a tenth around it, cells as wide as points lie apart.
struct sample_grid {
  i4 samples;
  r8 first, step;

  explicit sample_grid(const terrain& t)
      : samples(2 * static_cast<i4>(1.2 * std::sqrt(static_cast<r8>(t.n()))) + 1),
        first(-0.1 * t.side),
        step(1.2 * t.side / (samples - 1)) {}

  /// In the order of storage, each search beginning where the one before ended.
  template <class function>
  void walk(sorted_terrain& t, function take) const {
    i4 start = 1;
    for (i4 j = 0; j < samples; ++j)
      for (i4 i = 0; i < samples; ++i) {
        r8 pz = 0;
        i4 status = 0;
        const r8 px = first + step * i, py = first + step * j;
        surface_value(t.n(), px, py, view(t.x), view(t.y), view(t.z), view(t.adj_list), view(t.adj_end),
                      start, pz, status);
        take(px, py, pz, status);
      }
  }
};

void BM_evaluation(benchmark::State& state) {
  sorted_terrain t(points(state));
  t.triangulate();
  const sample_grid grid(t);
  r8 squares = 0, count = 0;
  grid.walk(t, [&](r8 px, r8 py, r8 pz, i4 status) {
    if (status != 0) return;
    squares += std::pow(pz - terrain::height(px, py), 2);
    ++count;
  });
  if (std::sqrt(squares / count) > 3) return state.SkipWithError("wrong answer");  // of 80 m high hills
  for (auto _ : state) grid.walk(t, [](r8, r8, r8 pz, i4) { benchmark::DoNotOptimize(pz); });
  state.counters["per_sample"] =
      benchmark::Counter(static_cast<r8>(grid.samples) * grid.samples,
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

using peer = void(const std::vector<r8>&, const std::vector<r8>&, triangles*);

[[maybe_unused]] void BM_peer(benchmark::State& state, peer triangulate) {
  sorted_terrain t(points(state));
  t.triangulate();
  triangles theirs;
  triangulate(t.x, t.y, &theirs);
  if (in_order(theirs) != in_order(t.corners())) return state.SkipWithError("wrong answer");
  for (auto _ : state) triangulate(t.x, t.y, nullptr);
  per_point(state);
}

void sizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_sort)->Apply(sizes);
BENCHMARK(BM_triangulation)->Apply(sizes);
BENCHMARK(BM_evaluation)->Apply(sizes);
#if defined(VELKO_CGAL)
BENCHMARK_CAPTURE(BM_peer, CGAL, peers::triangulate_with_cgal)->Apply(sizes);
#endif
#if defined(VELKO_QHULL)
BENCHMARK_CAPTURE(BM_peer, Qhull, peers::triangulate_with_qhull)->Apply(sizes);
#endif

}  // namespace
}  // namespace velko
