// Letters: i along y, j along x.
#include "builder/likely_mistakes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <span>
#include <string_view>

#include "builder/cell_weights.h"
#include "builder/input_checks.h"
#include "builder/provenance.h"

namespace velko {

namespace {

using lines = std::vector<std::string>;

struct interval {
  r8 low, high;

  r8 length() const { return high - low; }
  bool holds(r8 v) const { return low <= v && v <= high; }
  interval widened(r8 by) const { return {low - by, high + by}; }
};

interval range_of(std::span<const r8> values) {
  const auto [low, high] = std::ranges::minmax(values);
  return {low, high};
}

interval extent_of(std::span<const r8> nodes) {
  return {nodes.front(), nodes.back()};
}

/// Whether the first column counts the lines, as identifiers do.
bool x_counts_lines(const survey_state& s) {
  if (s.ndata < 4 || s.xobs(1) != std::round(s.xobs(1))) return false;
  for (i4 n = 2; n <= s.ndata; ++n)
    if (s.xobs(n) != s.xobs(n - 1) + 1.0) return false;
  return true;
}

constexpr auto identifier_hint = "; x counts the lines: is there an identifier in the first column?";

/// Where nothing else of the positions is strange.
void add_identifier(lines& all, const mesh_state& m, const survey_state& s) {
  if (all.empty() && x_counts_lines(s) && count_data_in_cells(s, m) == 0)
    all.emplace_back(std::string_view(identifier_hint).substr(2));
}

std::string cause_of_distance(const mesh_state& m, const survey_state& s) {
  if (x_counts_lines(s)) return identifier_hint;
  const interval x = range_of(s.xobs.elements()), y = range_of(s.yobs.elements());
  const interval mesh_x = extent_of(m.xnode.elements()), mesh_y = extent_of(m.ynode.elements());
  const auto fit = [](const interval& stations, const interval& mesh) {
    return stations.high >= mesh.low && stations.low <= mesh.high;
  };
  if (fit(y, mesh_x) && fit(x, mesh_y)) return "; are x and y swapped?";
  constexpr r8 projected = 1e5;  // coordinates of UTM and its kin are larger
  const auto largest = [](const interval& a, const interval& b) {
    return std::max({std::abs(a.low), std::abs(a.high), std::abs(b.low), std::abs(b.high)});
  };
  const r8 stations = largest(x, y), mesh = largest(mesh_x, mesh_y);
  if (stations > projected && mesh < projected)
    return "; are these projected coordinates, over a mesh in local ones?";
  if (stations < projected && mesh > projected)
    return "; are these local coordinates, over a mesh in projected ones?";
  if (std::abs(x.low) <= 360.0 && std::abs(x.high) <= 360.0 && std::abs(y.low) <= 90.0 &&
      std::abs(y.high) <= 90.0 && x.length() < 10.0 && y.length() < 10.0)
    return "; are these longitudes and latitudes?";
  return {};
}

void add_stations_beside(lines& all, const mesh_state& m, const survey_state& s) {
  const interval x = extent_of(m.xnode.elements()), y = extent_of(m.ynode.elements());
  i4 beside = 0, first = 0;
  for (i4 n = 1; n <= s.ndata; ++n)
    if (!x.holds(s.xobs(n)) || !y.holds(s.yobs(n))) {
      if (beside++ == 0) first = n;
    }
  if (beside == 0) return;
  all.push_back(fmt::format(
      "{} of {} stations lie beside the mesh, the first at ({:.10g}, {:.10g}); it goes from {:.10g} to "
      "{:.10g} along x, from {:.10g} to {:.10g} along y{}",
      beside, s.ndata, s.xobs(first), s.yobs(first), x.low, x.high, y.low, y.high,
      beside == s.ndata ? cause_of_distance(m, s) : ""));
}

void add_stations_far_above(lines& all, const mesh_state& m, const survey_state& s) {
  constexpr r8 many_cells = 100.0, feet_in_a_metre = 3.28;
  const r8 height = mean_height(m, s), cell = std::ranges::min(m.dz.elements());
  if (!(height > many_cells * cell)) return;
  // Elevations in feet are those of the ground and some more when they are taken for metres.
  const r8 top = m.ztop, z = range_of(s.zobs.elements()).low;
  const bool like_feet = top > 0.0 && z / feet_in_a_metre > 0.8 * top && z / feet_in_a_metre < 2.0 * top;
  all.push_back(fmt::format(
      "the stations lie {:.4g} above the ground on average, {:.0f} times the height of a cell{}", height,
      height / cell,
      x_counts_lines(s) ? identifier_hint : (like_feet ? "; are their elevations in feet?" : "")));
}

void add_field(lines& all, const survey_state& s) {
  if (!(20000.0 <= s.geomag && s.geomag <= 70000.0))
    all.push_back(
        fmt::format("the inducing field has {:g} nT; that of the earth has 20000 to 70000", s.geomag));
  const auto add_angle = [&](r8 angle, r8 most, const std::string& name) {
    if (std::abs(angle) > most)
      all.push_back(fmt::format("{} is {:g} degrees, beyond {:g}", name, angle, most));
  };
  add_angle(s.incl, 90.0, "the inclination of the inducing field");
  add_angle(s.decl, 360.0, "the declination of the inducing field");
  if (s.idir != 0) {
    add_angle(s.aincl, 90.0, "the inclination that is measured");
    add_angle(s.adecl, 360.0, "the declination that is measured");
    return;
  }
  for (i4 n = 1; n <= s.ndata; ++n)
    if (std::abs(s.aincl_obs(n)) > 90.0 || std::abs(s.adecl_obs(n)) > 360.0)
      return add_angle(std::abs(s.aincl_obs(n)) > 90.0 ? s.aincl_obs(n) : s.adecl_obs(n),
                       std::abs(s.aincl_obs(n)) > 90.0 ? 90.0 : 360.0,
                       fmt::format("the {} of datum {}",
                                   std::abs(s.aincl_obs(n)) > 90.0 ? "inclination" : "declination", n));
}

/// Stations that measure several components stand there once for each.
void add_repeats(lines& all, const survey_state& s) {
  const auto key = [&](i4 n) {
    return std::array{s.xobs(n), s.yobs(n), s.zobs(n), s.idir == 0 ? s.aincl_obs(n) : 0.0,
                      s.idir == 0 ? s.adecl_obs(n) : 0.0};
  };
  std::vector<i4> order(static_cast<std::size_t>(s.ndata));
  std::iota(order.begin(), order.end(), 1);
  std::ranges::stable_sort(order, {}, key);
  i4 repeats = 0, first = 0, again = 0;
  for (std::size_t n = 1; n < order.size(); ++n)
    if (key(order[n]) == key(order[n - 1]) && repeats++ == 0) {
      first = order[n - 1];
      again = order[n];
    }
  if (repeats > 0)
    all.push_back(fmt::format("{} of {} stations repeat an earlier one: datum {} has the place of datum {}",
                              repeats, s.ndata, again, first));
}

/// Cells of an axis whose centres are in an interval.
i4 cells_in(const interval& part, std::span<const r8> nodes) {
  i4 count = 0;
  for (std::size_t n = 0; n + 1 < nodes.size(); ++n) count += part.holds(0.5 * (nodes[n] + nodes[n + 1]));
  return count;
}

/// Farther from all stations than the mesh is deep, and than their area is long, a cell says nothing about the data that a
/// neighbour of ten times its size could not.
void add_padding(lines& all, const mesh_state& m, const survey_state& s) {
  constexpr r8 greater_part = 0.75;
  const interval x = range_of(s.xobs.elements()), y = range_of(s.yobs.elements());
  const r8 reach = std::max({x.length(), y.length(), m.znode(i8{m.nz} + 1), mean_height(m, s)});
  const r8 near = static_cast<r8>(cells_in(x.widened(reach), m.xnode.elements())) *
                  cells_in(y.widened(reach), m.ynode.elements());
  const r8 columns = r8{1} * m.nx * m.ny;
  if (near > 0.0 && near < (1.0 - greater_part) * columns)
    all.push_back(fmt::format(
        "{:.0f} % of the mesh is farther than {:.4g} from all stations; fewer and wider cells there would "
        "do",
        100.0 * (1.0 - near / columns), reach));
}

}  // namespace

std::vector<std::string> likely_mistakes(const mesh_state& m, const survey_state& s) {
  lines all;
  add_stations_beside(all, m, s);
  add_stations_far_above(all, m, s);
  add_identifier(all, m, s);
  add_field(all, s);
  add_repeats(all, s);
  add_padding(all, m, s);
  return all;
}

std::string burial_of(const mesh_state& m, const survey_state& s) {
  const i4 buried = count_data_in_cells(s, m);
  if (buried == 0) return {};
  return fmt::format("{} of {} data lie in or on a cell below the surface, the first is datum {}", buried,
                     s.ndata, first_datum_in_cells(s, m));
}

std::string cause_of_burial(const mesh_state& m, const survey_state& s) {
  if (x_counts_lines(s)) return identifier_hint;
  if (2 * i8{count_data_in_cells(s, m)} <= s.ndata) return {};
  survey_state upside_down = stations_of(s, {1, s.ndata});
  for (r8& z : upside_down.zobs.elements()) z = -z;
  return count_data_in_cells(upside_down, m) == 0 ? "; are depths given for elevations?" : "";
}

}  // namespace velko
