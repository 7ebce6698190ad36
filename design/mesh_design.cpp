#include "design/mesh_design.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "reports/program_stop.h"
#include "text/number_text.h"

namespace velko {

namespace {

constexpr i4 most_cells_along_an_axis = 1 << 16;

/// Numbers of the first core edge and of the last, counted in widths from the origin of coordinates.
struct core_edges {
  r8 first, last;
  i4 cells() const { return static_cast<i4>(last - first); }
};

/// Of widths far too small there are more than can be counted.
std::string count_text(r8 cells) {
  return std::isfinite(cells) ? fmt::format("{:.10g}", cells) : "too many";
}

/// A bound that is a multiple of the width but for rounding counts as one.
core_edges edges_around(std::string_view axis, interval core, r8 width) {
  constexpr r8 slack = 1e-9;
  const r8 first = std::floor(core.low / width + slack);
  const r8 last = std::max(std::ceil(core.high / width - slack), first + 1);
  if (!(last - first <= most_cells_along_an_axis))
    stop_program(
        fmt::format("velkmtx: the core has {} cells along {}; at most {} are possible: take wider cells",
                    count_text(last - first), axis, most_cells_along_an_axis));
  return {first, last};
}

r8 rounded_to_digits(r8 value, int digits) {
  is_number(fmt::format("{:.{}g}", value, digits), value);
  return value + 0.0;  // a zero without a sign
}

std::vector<r8> padding_widths(r8 core_width, i4 cells, r8 factor) {
  std::vector<r8> widths;
  for (r8 width = core_width; std::ssize(widths) < cells;)
    widths.push_back(rounded_to_digits(width *= factor, 4));
  return widths;
}

/// Padding cells that the axis lacks to a power of two.
i4 cells_to_fill(i4 cells, const padding& p) {
  return p.power_of_two ? static_cast<i4>(std::bit_ceil(static_cast<std::uint32_t>(cells))) - cells : 0;
}

mesh_axis axis_of(r8 start, const std::vector<r8>& before, i4 core_cells, r8 width,
                  const std::vector<r8>& behind) {
  mesh_axis axis;
  axis.start = start;
  axis.widths.assign(before.rbegin(), before.rend());
  axis.widths.insert(axis.widths.end(), static_cast<std::size_t>(core_cells), width);
  axis.widths.insert(axis.widths.end(), behind.begin(), behind.end());
  for (const r8 w : before) axis.start -= w;
  axis.start = rounded_to_digits(axis.start, 12);  // without what the sum has rounded
  return axis;
}

owned_array1<r8> nodes_of(r8 start, const std::vector<r8>& widths) {
  owned_array1<r8> nodes(uninitialised, std::ssize(widths) + 1);
  nodes(1) = start;
  for (i8 n = 2; n <= nodes.size(); ++n) nodes(n) = nodes(n - 1) + widths[static_cast<std::size_t>(n - 2)];
  return nodes;
}

}  // namespace

void fill_mesh(mesh_state& m, const mesh_axes& axes) {
  m.nx = axes.x.cells();
  m.ny = axes.y.cells();
  m.nz = axes.z.cells();
  m.dx = owned_array1<r8>(axes.x.widths);
  m.dy = owned_array1<r8>(axes.y.widths);
  m.dz = owned_array1<r8>(axes.z.widths);
  m.xnode = nodes_of(axes.x.start, axes.x.widths);
  m.ynode = nodes_of(axes.y.start, axes.y.widths);
  m.znode = nodes_of(0.0, axes.z.widths);
  m.ztop = axes.z.start;
}

mesh_axis horizontal_axis(std::string_view name, interval core, r8 width, const padding& around) {
  const core_edges edges = edges_around(name, core, width);
  const i4 to_fill = cells_to_fill(edges.cells() + 2 * around.cells, around);
  const auto before = padding_widths(width, around.cells + to_fill / 2, around.factor);
  const auto behind = padding_widths(width, around.cells + to_fill - to_fill / 2, around.factor);
  return axis_of(edges.first * width, before, edges.cells(), width, behind);
}

mesh_axis vertical_axis(interval ground, r8 depth, r8 width, const padding& below) {
  const core_edges edges = edges_around("z", {ground.low - depth, ground.high}, width);
  const i4 to_fill = cells_to_fill(edges.cells() + below.cells, below);
  const auto behind = padding_widths(width, below.cells + to_fill, below.factor);
  return axis_of(edges.last * width, {}, edges.cells(), width, behind);
}

}  // namespace velko
