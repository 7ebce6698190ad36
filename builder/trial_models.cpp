// Letters: i along y, j along x, k down a column.
#include "builder/trial_models.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "arrays/instruction_set.h"
#include "builder/row_compression.h"

namespace velko {

namespace {

struct range {
  r8 from, to;

  r8 middle() const { return from + 0.5 * (to - from); }
  r8 size() const { return to - from; }
  bool holds(r8 v) const { return from <= v && v <= to; }
};

range range_of(std::span<const r8> values) {
  const auto [least, largest] = std::ranges::minmax_element(values);
  return {*least, *largest};
}

r8 middle_of(std::span<const r8> nodes, i4 interval) {
  const r8* const from = nodes.data() + interval - 1;
  return 0.5 * (from[0] + from[1]);
}

/// Elevations of the surface below the stations; of the whole surface where no middle of a column lies there.
std::vector<r8> ground_elevations(const mesh_state& m, const range& x, const range& y) {
  std::vector<r8> below_stations, all;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) {
      all.push_back(m.ztop - m.znode(m.itop(i, j) + 1));
      if (x.holds(middle_of(m.xnode.elements(), j)) && y.holds(middle_of(m.ynode.elements(), i)))
        below_stations.push_back(all.back());
    }
  return below_stations.empty() ? all : below_stations;
}

r8 median(std::vector<r8> values) {
  const auto middle = values.begin() + std::ssize(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

r8 between(r8 before, r8 behind, r8 part) {
  return before + (behind - before) * part;
}

/// Of eight partial sums.
r8 sum_of(std::span<const r8> values) {
  r8x8 part{};
  std::size_t n = 0;
  for (; n + 8 <= values.size(); n += 8) part += *reinterpret_cast<const r8x8_mem*>(&values[n]);
  r8 sum = ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
  for (; n < values.size(); ++n) sum += values[n];
  return sum;
}

}  // namespace

trial_models::trial_models(const mesh_state& shared_mesh, const survey_state& s) : mesh_(shared_mesh) {
  const range x = range_of(s.xobs.elements()), y = range_of(s.yobs.elements());
  middle_x_ = x.middle();
  middle_y_ = y.middle();
  const r8 mesh_extent =
      std::min(range_of(mesh_.xnode.elements()).size(), range_of(mesh_.ynode.elements()).size());
  extent_ = std::min(std::max(x.size(), y.size()), mesh_extent);
  if (!(extent_ > 0.0)) extent_ = 0.5 * mesh_extent;
  median_ground_ = median(ground_elevations(mesh_, x, y));
  for (i4 k = 1; k <= mesh_.nz; ++k) middles_.push_back(middle_of(mesh_.znode.elements(), k));
  for (i4 i = 1; i <= mesh_.ny; ++i)
    for (i4 j = 1; j <= mesh_.nx; ++j) runs_.push_back(runs_of(place_of(i, j)));
  scatter_lattice();
}

void trial_models::scatter_lattice() {
  std::mt19937 random(1);  // its sequence is fixed by the standard
  for (int n = 0; n < lattice_points * lattice_points * lattice_points; ++n)
    lattice_.push_back(static_cast<r8>(random()) / 0x1p31 - 1.0);
  const r8 steps = 8.0 / extent_;
  for (i4 i = 1; i <= mesh_.ny; ++i) along_y_.push_back(place_in_lattice(place_of(i, 1).y * steps));
  for (i4 j = 1; j <= mesh_.nx; ++j) along_x_.push_back(place_in_lattice(place_of(1, j).x * steps));
  for (const r8 z : middles_) down_.push_back(place_in_lattice(z * steps));
}

trial_models::lattice_place trial_models::place_in_lattice(r8 steps) {
  const r8 floor = std::floor(steps), t = steps - floor;
  const std::size_t before = static_cast<std::size_t>(static_cast<i8>(floor) & (lattice_points - 1));
  return {before, (before + 1) % lattice_points, t * t * (3.0 - 2.0 * t)};
}

trial_models::column_place trial_models::place_of(i4 i, i4 j) const {
  return {mesh_.itop(i, j) + 1, middle_of(mesh_.xnode.elements(), j) - middle_x_,
          middle_of(mesh_.ynode.elements(), i) - middle_y_};
}

const trial_models::runs& trial_models::runs_at(i4 i, i4 j) const {
  return runs_[static_cast<std::size_t>((i8{i} - 1) * mesh_.nx + j - 1)];
}

void trial_models::fill_column(std::size_t model, i4 i, i4 j, std::span<r8> values) const {
  if (model == smooth_ground) return fill_smooth(i, j, values);
  const run& of_value = runs_at(i, j)[model];
  std::ranges::fill(values, 0.0);
  std::ranges::fill(values.subspan(of_value.first, of_value.count), of_value.value);
}

void trial_models::add_column(i4 i, i4 j, std::span<const r8> row, std::span<const r8> lost, sums& to) const {
  const runs& of_column = runs_at(i, j);
  for (std::size_t model = 0; model < of_column.size(); ++model) {
    const auto& [first, below, value] = of_column[model];
    if (below == 0) continue;
    to.data[model] += value * sum_of(row.subspan(first, below));
    to.lost[model] += value * sum_of(lost.subspan(first, below));
  }
  std::vector<r8> smooth(row.size());
  fill_smooth(i, j, smooth);
  to.data[smooth_ground] += scalar_product(smooth, row);
  to.lost[smooth_ground] += scalar_product(smooth, lost);
}

trial_models::runs trial_models::runs_of(const column_place& at) const {
  return {uniform_ground(at),     hills(at), block(at, extent_ / 16), block(at, extent_ / 8),
          block(at, extent_ / 4), dyke(at)};
}

/// Cells whose middles are deeper below the surface than the top and less deep than the bottom.
trial_models::run trial_models::run_between(const column_place& at, r8 top, r8 bottom, r8 value) const {
  const r8 surface = mesh_.znode(at.first);
  const auto from = middles_.begin() + at.first - 1;
  const auto first = std::partition_point(from, middles_.end(), [=](r8 z) { return z - surface <= top; });
  const auto behind = std::partition_point(first, middles_.end(), [=](r8 z) { return z - surface < bottom; });
  return {static_cast<std::size_t>(first - from), static_cast<std::size_t>(behind - first), value};
}

trial_models::run trial_models::uniform_ground(const column_place& at) const {
  return {0, static_cast<std::size_t>(mesh_.nz - at.first + 1), 0.01};
}

trial_models::run trial_models::hills(const column_place& at) const {
  const r8 height = mesh_.ztop - mesh_.znode(at.first) - median_ground_;  // of the surface
  return run_between(at, 0.0, height, 0.01);
}

/// Cubes, four of their sides apart; next to a positive one stand negative ones. Each has its field to itself then, as a
/// single one has it: those of many of one sign would add up to that of a sheet, which is next to none.
trial_models::run trial_models::block(const column_place& at, r8 side) const {
  const r8 period = 4.0 * side;
  const r8 nearest_x = std::floor(at.x / period + 0.5), nearest_y = std::floor(at.y / period + 0.5);
  const bool inside =
      std::abs(at.x - period * nearest_x) < 0.5 * side && std::abs(at.y - period * nearest_y) < 0.5 * side;
  if (!inside) return {};
  const bool positive = static_cast<i8>(nearest_x + nearest_y) % 2 == 0;
  return run_between(at, side, 2.0 * side, positive ? 0.05 : -0.05);
}

/// Strikes north, dips east: its middle lies at x = depth / 2.
trial_models::run trial_models::dyke(const column_place& at) const {
  if (std::abs(at.y) > extent_ / 3 || std::abs(at.x) > extent_ / 3) return {};
  const r8 half_width = extent_ / 24;
  return run_between(at, 2.0 * (at.x - half_width), std::min(2.0 * (at.x + half_width), extent_ / 3), 0.03);
}

/// Values on the vertical of a column at the points of the lattice.
trial_models::levels trial_models::levels_at(const lattice_place& x, const lattice_place& y) const {
  const auto value = [&](std::size_t a, std::size_t b, std::size_t level) {
    return lattice_[(a * lattice_points + b) * lattice_points + level];
  };
  levels on_vertical;
  for (std::size_t level = 0; level < lattice_points; ++level)
    on_vertical[level] =
        between(between(value(x.before, y.before, level), value(x.behind, y.before, level), x.part),
                between(value(x.before, y.behind, level), value(x.behind, y.behind, level), x.part), y.part);
  return on_vertical;
}

void trial_models::fill_smooth(i4 i, i4 j, std::span<r8> values) const {
  const levels on_vertical =
      levels_at(along_x_[static_cast<std::size_t>(j) - 1], along_y_[static_cast<std::size_t>(i) - 1]);
  const std::span<const lattice_place> down = std::span(down_).last(values.size());
  for (std::size_t n = 0; n < values.size(); ++n)
    values[n] = 0.01 * between(on_vertical[down[n].before], on_vertical[down[n].behind], down[n].part);
}

}  // namespace velko
