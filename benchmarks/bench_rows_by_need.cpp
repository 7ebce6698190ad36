/// Rows computed where they are needed (docs/rows_by_need.md): Haar coefficients as sums over blocks of cells, which are prisms,
/// looked for from the coarsest down, beside rows made whole.
///
/// The search is told what it can't know, the least that a kept coefficient matters, and takes pairs of cells from the first on,
/// where the transform's pairs begin at the second and wrap around: both in its favour. Its energies are compared with those of
/// a whole row before anything is timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>
#include <vector>

#include "builder/daubechies.h"
#include "builder/diagonal.h"
#include "builder/row_compression.h"
#include "responses/prism.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

const direction inducing = unit_vector(62, 4), measured = unit_vector(58, -10);
constexpr r8 geomag = 50000.0;

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

point station_over(const mesh_state& m) {
  return {0.52 * m.xnode(m.nx + 1) + 1.3, 0.47 * m.ynode(m.ny + 1) + 0.7, 120.0};
}

std::size_t count(i4 n) {
  return static_cast<std::size_t>(n);
}

/// What one coefficient sums along an axis: begin and end of its block, and whether its second half counts negative.
struct extent {
  i4 begin, end;
  bool detail;
};

/// Positions 0 and 1 are smooth halves; 2, 3, then 4 to 7 and so on the details of ever smaller blocks.
extent extent_of(i4 position, i4 n) {
  const bool detail = position >= 2;
  const i4 blocks = detail ? static_cast<i4>(std::bit_floor(static_cast<std::uint32_t>(position))) : 2;
  const i4 cells = n / blocks, at = detail ? position - blocks : position;
  return {at * cells, (at + 1) * cells, detail};
}

/// The finer positions below one.
template <class body>
void for_finer(i4 position, i4 n, const body& action) {
  if (position < 2) return action(position + 2);
  for (const i4 finer : {2 * position, 2 * position + 1})
    if (finer < n) action(finer);
}

/// log(a + r), where r is at least |a| and r^2 - a^2 is rest2.
r8 log_of_sum(r8 a, r8 r, r8 rest2) {
  return a >= 0.0 ? std::log(a + r) : std::log(rest2 / (r - a));
}

r8 corner(r8 u, r8 v, r8 w) {
  const direction &a = measured, &b = inducing;
  const r8 u2 = u * u, v2 = v * v, w2 = w * w, r = std::sqrt(u2 + v2 + w2);
  return -a.x * b.x * std::atan(v * w / (u * r)) - a.y * b.y * std::atan(u * w / (v * r)) -
         a.z * b.z * std::atan(u * v / (w * r)) + (a.x * b.y + a.y * b.x) * log_of_sum(w, r, u2 + v2) +
         (a.x * b.z + a.z * b.x) * log_of_sum(v, r, u2 + w2) +
         (a.y * b.z + a.z * b.y) * log_of_sum(u, r, v2 + w2);
}

/// The nodes that a coefficient needs along an axis, and their weights.
struct stencil {
  std::array<r8, 3> at, weight;
  int nodes;
};

template <class position_of>
stencil stencil_of(const extent& e, const position_of& node) {
  if (!e.detail) return {{node(e.begin), node(e.end), 0}, {1, -1, 0}, 2};
  return {{node(e.begin), node((e.begin + e.end) / 2), node(e.end)}, {1, -2, 1}, 3};
}

class search {
 public:
  search(const mesh_state& m, const point& station)
      : m_(m),
        station_(station),
        factors_(cube_around(m.ny, m.nx, m.nz)),
        seen_(count(m.nx) * count(m.ny) * count(m.nz)) {}

  r8 coefficient(i4 z, i4 x, i4 y) const {
    const i4 n = m_.nx;
    const std::array<extent, 3> e{extent_of(x, n), extent_of(y, n), extent_of(z, n)};
    const stencil u = stencil_of(e[0], [&](i4 p) { return m_.xnode(p + 1) - station_.x; });
    const stencil v = stencil_of(e[1], [&](i4 p) { return m_.ynode(p + 1) - station_.y; });
    const stencil w = stencil_of(e[2], [&](i4 p) { return m_.ztop - m_.znode(p + 1) - station_.z; });
    r8 sum = 0, cells = 1;
    for (const extent& axis : e) cells *= axis.end - axis.begin;
    for (int a = 0; a < u.nodes; ++a)
      for (int b = 0; b < v.nodes; ++b)
        for (int c = 0; c < w.nodes; ++c)
          sum += u.weight[count(a)] * v.weight[count(b)] * w.weight[count(c)] *
                 corner(u.at[count(a)], v.at[count(b)], w.at[count(c)]);
    return geomag / (4 * std::numbers::pi) * sum / std::sqrt(cells);
  }

  /// Goes on below whatever matters a sixteenth of `least`, and keeps what matters that much.
  void run(r8 least) {
    const i4 n = m_.nx;
    std::fill(seen_.begin(), seen_.end(), false);
    idx_.clear();
    values_.clear();
    waiting_.clear();
    looked_at_ = 0;
    for (i4 start = 0; start < 8; ++start) visit(start & 1, start >> 1 & 1, start >> 2);
    while (!waiting_.empty()) {
      const i4 position = waiting_.back();
      waiting_.pop_back();
      ++looked_at_;
      const i4 z = position % n, x = position / n % n, y = position / n / n;
      const r8 value = coefficient(z, x, y), matters = value * value * factors_.at(position + 1);
      if (matters >= least) {
        idx_.push_back(position + 1);
        values_.push_back(value);
      }
      if (matters < least / 16) continue;
      for_finer(z, n, [&](i4 finer) { visit(finer, x, y); });
      for_finer(x, n, [&](i4 finer) { visit(z, finer, y); });
      for_finer(y, n, [&](i4 finer) { visit(z, x, finer); });
    }
  }

  compressed_row kept() const { return {idx_, values_}; }
  std::size_t looked_at() const { return looked_at_; }
  const importance& factors() const { return factors_; }

 private:
  void visit(i4 z, i4 x, i4 y) {
    const i4 position = z + m_.nx * (x + m_.nx * y);
    if (seen_[count(position)]) return;
    seen_[count(position)] = true;
    waiting_.push_back(position);
  }

  const mesh_state& m_;
  point station_;
  importance factors_;
  std::vector<bool> seen_;
  std::vector<i4> waiting_, idx_;
  std::vector<r8> values_;
  std::size_t looked_at_ = 0;
};

/// The same pyramid of a whole row: one axis after the other.
void transform_along(std::vector<r8>& cube, i4 n, std::size_t stride) {
  std::vector<r8> line(count(n)), next(count(n));
  for (std::size_t start = 0; start < cube.size(); ++start) {
    if (start / stride % count(n) != 0) continue;
    for (std::size_t k = 0; k < count(n); ++k) line[k] = cube[start + stride * k];
    for (std::size_t length = count(n); length >= 4; length /= 2) {
      for (std::size_t h = 0; h < length / 2; ++h) {
        next[h] = (line[2 * h] + line[2 * h + 1]) / std::numbers::sqrt2;
        next[h + length / 2] = (line[2 * h] - line[2 * h + 1]) / std::numbers::sqrt2;
      }
      std::copy_n(next.begin(), length, line.begin());
    }
    for (std::size_t k = 0; k < count(n); ++k) cube[start + stride * k] = line[k];
  }
}

/// A row made whole, in this pyramid, and what is kept of it.
struct whole_row {
  whole_row(const mesh_state& m, const point& station, r8 tolerance)
      : cube(count(m.nx) * count(m.nx) * count(m.nx)) {
    prism_responses(m).compute(station, factors_of(inducing, measured, geomag), cube);
    norm2 = energy_of(cube);
    for (const std::size_t stride : {std::size_t{1}, count(m.nx), count(m.nx) * count(m.nx)})
      transform_along(cube, m.nx, stride);
    const importance factors(cube_around(m.ny, m.nx, m.nz));
    coefficient_selection selection(factors);
    selection.begin(tolerance * tolerance * norm2);
    std::vector<r8> batch(lines_of_batch * count(m.ny));
    for (std::size_t first = 0; first < factors.plane(); first += lines_of_batch) {
      for (std::size_t y = 0; y < count(m.ny); ++y)
        std::copy_n(cube.begin() + static_cast<std::ptrdiff_t>(first + factors.plane() * y), lines_of_batch,
                    batch.begin() + static_cast<std::ptrdiff_t>(lines_of_batch * y));
      selection.offer(first, batch);
    }
    const compressed_row all = selection.choose();
    kept = all.idx.size();
    least = INFINITY;
    for (std::size_t k = 0; k < kept; ++k)
      least = std::min(least, all.values[k] * all.values[k] * factors.at(all.idx[k]));
  }
  std::vector<r8> cube;
  r8 norm2 = 0, least = 0;
  std::size_t kept = 0;
};

/// Arguments: cells along each axis, 1 / tolerance.
void BM_search(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  const whole_row whole(m, station_over(m), 1.0 / static_cast<r8>(state.range(1)));
  search by_need(m, station_over(m));
  by_need.run(whole.least);
  r8 found = 0, wrong = 0;
  for (std::size_t k = 0; k < by_need.kept().idx.size(); ++k) {
    const r8 value = by_need.kept().values[k];
    found += value * value;
    wrong = std::max(wrong, std::abs(value - whole.cube[count(by_need.kept().idx[k]) - 1]));
  }
  if (wrong > 1e-6 * std::sqrt(whole.norm2))
    return state.SkipWithError("coefficients differ from those of a whole row");
  for (auto _ : state) by_need.run(whole.least);
  state.counters["kept"] = static_cast<r8>(by_need.kept().idx.size());
  state.counters["kept_of_whole_row"] = static_cast<r8>(whole.kept);
  state.counters["looked_at"] = static_cast<r8>(by_need.looked_at());
  state.counters["loss"] = std::sqrt(std::max(1.0 - found / whole.norm2, 0.0));
}
BENCHMARK(BM_search)
    ->Args({128, 1000})
    ->Args({128, 300})
    ->Args({256, 1000})
    ->Args({256, 300})
    ->Unit(benchmark::kMillisecond);

void bring_back(row_compressor& compressor, const compressed_row& kept, owned_array1<r4>& row,
                diagonal& gdiag) {
  compressor.restore(kept, [&](std::size_t place, std::span<const r8> below) {
    for (const r8 value : below) row.data()[place++] = static_cast<r4>(value);
  });
  for (i4 piece = 0; piece < gdiag.pieces(); ++piece) gdiag.add(2, row.elements(), piece);
}

/// What a row takes however its coefficients were found: the way back and gdiag.
void BM_way_back(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  const whole_row whole(m, station_over(m), 1.0 / static_cast<r8>(state.range(1)));
  search by_need(m, station_over(m));
  by_need.run(whole.least);
  std::vector<std::pair<i4, r8>> sorted;
  for (std::size_t k = 0; k < by_need.kept().idx.size(); ++k)
    sorted.emplace_back(by_need.kept().idx[k], by_need.kept().values[k]);
  std::ranges::sort(sorted);
  std::vector<i4> idx;
  std::vector<r8> values;
  for (const auto& [position, value] : sorted) {
    idx.push_back(position);
    values.push_back(value);
  }
  SET_WTN_FILTER(daubechies_filter(2), 2);
  row_compressor compressor(m, cube_around(m.ny, m.nx, m.nz));
  owned_array1<r4> row(static_cast<i8>(whole.cube.size()));
  diagonal gdiag(row.size(), {1, 1}, false);
  for (auto _ : state) bring_back(compressor, {idx, values}, row, gdiag);
}
BENCHMARK(BM_way_back)->Args({128, 1000})->Args({256, 1000})->Unit(benchmark::kMillisecond);

/// A row made whole with d4, as velkmtx makes it, but for the comparison with the exact row.
void BM_whole_row(benchmark::State& state) {
  const mesh_state m = mesh_of(static_cast<i4>(state.range(0)));
  const r8 tolerance = 1.0 / static_cast<r8>(state.range(1));
  SET_WTN_FILTER(daubechies_filter(4), 4);
  prism_responses responses(m);
  row_compressor compressor(m, cube_around(m.ny, m.nx, m.nz));
  owned_array1<r8> computed(i8{m.nx} * m.ny * m.nz);
  owned_array1<r4> row(computed.size());
  diagonal gdiag(row.size(), {1, 1}, false);
  std::size_t kept = 0;
  for (auto _ : state) {
    responses.begin(station_over(m), factors_of(inducing, measured, geomag));
    r8 norm2 = 0;
    std::size_t done = 0;
    for (i4 i = 1; i <= m.ny; ++i) {
      std::span<r8> plane = computed.elements().subspan(done);
      plane = plane.first(responses.next_plane(plane));
      norm2 += energy_of(plane);
      compressor.lay(i, plane);
      done += plane.size();
    }
    const compressed_row chosen = compressor.choose(tolerance * tolerance * norm2);
    kept = chosen.idx.size();
    bring_back(compressor, chosen, row, gdiag);
  }
  state.counters["kept"] = static_cast<r8>(kept);
}
BENCHMARK(BM_whole_row)
    ->Args({128, 1000})
    ->Args({128, 300})
    ->Args({256, 1000})
    ->Args({256, 300})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velko
