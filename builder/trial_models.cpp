// Letters: i along y, j along x, k down a column.
#include "builder/trial_models.h"

#include <algorithm>
#include <cmath>
#include <random>

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

constexpr int lattice_points = 16;  // along each axis, a power of two

/// A place between the points of the lattice: the point before it, and the part that the one behind takes in its value.
/// Both are met smoothly.
struct lattice_place {
  std::size_t before, behind;
  r8 part;

  explicit lattice_place(r8 steps) {
    const r8 floor = std::floor(steps), t = steps - floor;
    before = static_cast<std::size_t>(static_cast<i8>(floor) & (lattice_points - 1));
    behind = (before + 1) % lattice_points;
    part = t * t * (3.0 - 2.0 * t);
  }
};

r8 between(r8 before, r8 behind, r8 part) {
  return before + (behind - before) * part;
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
  std::mt19937 random(1);  // its sequence is fixed by the standard
  for (int n = 0; n < lattice_points * lattice_points * lattice_points; ++n)
    lattice_.push_back(static_cast<r8>(random()) / 0x1p31 - 1.0);
}

bool trial_models::fill_column(std::size_t model, i4 i, i4 j, std::span<r8> values) const {
  const column at{mesh_.itop(i, j) + 1, middle_of(mesh_.xnode.elements(), j) - middle_x_,
                  middle_of(mesh_.ynode.elements(), i) - middle_y_};
  switch (model) {
    case 0:
      std::ranges::fill(values, 0.01);
      return true;
    case 1: {
      const r8 height = mesh_.ztop - mesh_.znode(at.first) - median_ground_;  // of the surface
      if (height > 0.0) fill_where(at, 0.01, values, [=](r8 depth) { return depth < height; });
      return height > 0.0;
    }
    case 2:
      return fill_blocks(at, extent_ / 16, values);
    case 3:
      return fill_blocks(at, extent_ / 8, values);
    case 4:
      return fill_blocks(at, extent_ / 4, values);
    case 5:
      return fill_dyke(at, values);
    default:
      fill_smooth(at, values);
      return true;
  }
}

/// Depth of the middle of cell n of a column below the top of the mesh.
r8 trial_models::middle_below_top(const column& at, std::size_t n) const {
  return middle_of(mesh_.znode.elements(), at.first + static_cast<i4>(n));
}

/// The value where the condition holds at the depth below the surface, else 0.
template <class condition>
void trial_models::fill_where(const column& at, r8 value, std::span<r8> values,
                              const condition& holds_at_depth) const {
  for (std::size_t n = 0; n < values.size(); ++n)
    values[n] = holds_at_depth(middle_below_top(at, n) - mesh_.znode(at.first)) ? value : 0.0;
}

/// Cubes, four of their sides apart; next to a positive one stand negative ones. Each has its field to itself then, as a
/// single one has it: those of many of one sign would add up to that of a sheet, which is next to none.
bool trial_models::fill_blocks(const column& at, r8 side, std::span<r8> values) const {
  const r8 period = 4.0 * side;
  const r8 nearest_x = std::floor(at.x / period + 0.5), nearest_y = std::floor(at.y / period + 0.5);
  const bool inside =
      std::abs(at.x - period * nearest_x) < 0.5 * side && std::abs(at.y - period * nearest_y) < 0.5 * side;
  if (!inside) return false;
  const bool positive = static_cast<i8>(nearest_x + nearest_y) % 2 == 0;
  fill_where(at, positive ? 0.05 : -0.05, values,
             [=](r8 depth) { return side < depth && depth < 2.0 * side; });
  return true;
}

/// Strikes north, dips east.
bool trial_models::fill_dyke(const column& at, std::span<r8> values) const {
  if (std::abs(at.y) > extent_ / 3 || std::abs(at.x) > extent_ / 3) return false;
  fill_where(at, 0.03, values,
             [&](r8 depth) { return depth < extent_ / 3 && std::abs(at.x - 0.5 * depth) < extent_ / 24; });
  return true;
}

void trial_models::fill_smooth(const column& at, std::span<r8> values) const {
  const r8 steps = 8.0 / extent_;
  const lattice_place x(at.x * steps), y(at.y * steps);
  const auto value = [&](std::size_t a, std::size_t b, std::size_t level) {
    return lattice_[(a * lattice_points + b) * lattice_points + level];
  };
  std::array<r8, lattice_points> levels;
  for (std::size_t level = 0; level < lattice_points; ++level)
    levels[level] =
        between(between(value(x.before, y.before, level), value(x.behind, y.before, level), x.part),
                between(value(x.before, y.behind, level), value(x.behind, y.behind, level), x.part), y.part);
  for (std::size_t n = 0; n < values.size(); ++n) {
    const lattice_place z(middle_below_top(at, n) * steps);
    values[n] = 0.01 * between(levels[z.before], levels[z.behind], z.part);
  }
}

}  // namespace velko
