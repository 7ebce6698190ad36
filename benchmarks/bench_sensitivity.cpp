/// Rows of G: the faces of cells, shared by neighbours, against eight corners per cell, the plain form of the prism; and
/// what a row takes on its way into a file.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "builder/daubechies.h"
#include "builder/diagonal.h"
#include "builder/row_compression.h"
#include "builder/row_maker.h"
#include "responses/prism.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

constexpr point station{421.3, 388.7, 25.0};
const direction inducing = unit_vector(62, 4), measured = unit_vector(58, -10);

/// n x n x n cells of 20 x 20 x 10 metres.
mesh_state mesh_of(i4 n) {
  mesh_state m;
  m.nx = m.ny = m.nz = n;
  for (owned_array1<r8>* nodes : {&m.xnode, &m.ynode, &m.znode}) *nodes = owned_array1<r8>(n + 1);
  for (i4 p = 1; p <= n + 1; ++p) {
    m.xnode(p) = m.ynode(p) = 20.0 * (p - 1);
    m.znode(p) = 10.0 * (p - 1);
  }
  m.itop = owned_array2<i4>(n, n);
  return m;
}

std::size_t cells_of(const mesh_state& m) {
  return static_cast<std::size_t>(m.nx) * static_cast<std::size_t>(m.ny) * static_cast<std::size_t>(m.nz);
}

/// The six components at one corner; offsets of the corner from the point.
r8 corner(r8 u, r8 v, r8 w) {
  const direction &a = measured, &b = inducing;
  const r8 r = std::sqrt(u * u + v * v + w * w);
  return -a.x * b.x * std::atan(v * w / (u * r)) - a.y * b.y * std::atan(u * w / (v * r)) -
         a.z * b.z * std::atan(u * v / (w * r)) + (a.x * b.y + a.y * b.x) * std::log(w + r) +
         (a.x * b.z + a.z * b.x) * std::log(v + r) + (a.y * b.z + a.z * b.y) * std::log(u + r);
}

void plain_row(const mesh_state& m, std::span<r8> row) {
  std::size_t next = 0;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j)
      for (i4 k = 1; k <= m.nz; ++k) {
        r8 sum = 0;
        for (int c = 0; c < 8; ++c) {
          const int x = c & 1, y = c >> 1 & 1, z = c >> 2;
          const r8 term = corner(m.xnode(j + x) - station.x, m.ynode(i + y) - station.y,
                                 m.ztop - m.znode(k + z) - station.z);
          sum += (x + y + z) % 2 == 0 ? term : -term;
        }
        row[next++] = 50000.0 / (4 * std::numbers::pi) * sum;
      }
}

r8 largest_difference(std::span<const r8> a, std::span<const r8> b) {
  r8 largest = 0, size = 0;
  for (std::size_t c = 0; c < a.size(); ++c) {
    largest = std::max(largest, std::abs(a[c] - b[c]));
    size = std::max(size, std::abs(b[c]));
  }
  return largest / size;
}

void BM_row_by_corners(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  std::vector<r8> row(cells_of(m));
  for (auto _ : state) plain_row(m, row);
  state.SetItemsProcessed(state.iterations() * static_cast<i8>(row.size()));
}
BENCHMARK(BM_row_by_corners)->Arg(16)->Arg(32);

void BM_row_by_faces(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  const tensor_factors factors = factors_of(inducing, measured, 50000.0);
  prism_responses responses(m);
  std::vector<r8> row(cells_of(m)), expected(row.size());
  responses.compute(station, factors, row);
  plain_row(m, expected);
  if (largest_difference(row, expected) > 1e-10) return state.SkipWithError("the two forms differ");
  for (auto _ : state) responses.compute(station, factors, row);
  state.SetItemsProcessed(state.iterations() * static_cast<i8>(row.size()));
}
BENCHMARK(BM_row_by_faces)->Arg(16)->Arg(32)->Arg(64)->Arg(128);

/// What a compressed row costs on top.
void BM_compress_row(benchmark::State& state) {
  const i4 n = static_cast<i4>(state.range(0));
  const mesh_state m = mesh_of(n);
  std::vector<r8> row(cells_of(m));
  prism_responses(m).compute(station, factors_of(inducing, measured, 50000.0), row);
  SET_WTN_FILTER(daubechies_filter(4), 4);
  row_compressor compressor(m, cube_around(n, n, n));
  const r8 budget = 1e-6 * energy_of(row);
  for (auto _ : state) {
    compressor.lay_all(row);
    benchmark::DoNotOptimize(compressor.choose(budget).idx.size());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<i8>(row.size()));
}
BENCHMARK(BM_compress_row)->Arg(16)->Arg(32)->Arg(64)->Arg(128);

/// All of it: response, compression, the way back, the row in gdiag. Items are cells. 92 cells along each axis fill 37 % of the
/// cube of 128.
void BM_make_row(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  survey_state s;
  s.ndata = s.idir = 1;
  s.incl = s.aincl = 62;
  s.decl = s.adecl = 4;
  s.geomag = 50000.0;
  for (owned_array1<r8>* obs : {&s.xobs, &s.yobs, &s.zobs}) *obs = owned_array1<r8>(1);
  s.xobs(1) = station.x;
  s.yobs(1) = station.y;
  s.zobs(1) = station.z;
  const matrix_form form{.wfilter = daubechies_filter(4), .tolerance = 1e-3, .weights = {}};
  SET_WTN_FILTER(form.wfilter, 4);
  const std::vector<r8> wtz(cells_of(m), 1.0);
  row_maker maker(m, s, form, wtz);
  diagonal gdiag(static_cast<i8>(wtz.size()), {1, 1}, false);
  for (auto _ : state) {
    maker.make(1);
    for (i4 piece = 0; piece < gdiag.pieces(); ++piece) gdiag.add(2, maker.row(), piece);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<i8>(wtz.size()));
  state.counters["rows"] =
      benchmark::Counter(static_cast<r8>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_make_row)->Arg(16)->Arg(32)->Arg(64)->Arg(92)->Arg(128)->Arg(256);

}  // namespace
}  // namespace velko
